// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/distortion/TubeScreamerCircuit.h"
#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"
#include "dsp/smoothing/ControlGroups.h"

namespace Velmora::dsp {

/// The settings of the overdrive in their own units.
struct TubeScreamerSettings {
    float mix = 1.0F;
    float driveDb = 30.0F;
    /// 0..1.
    float tone = 0.5F;
    float inputDb = 0.0F;
    float lowCutHz = 20.0F;
    float levelDb = 0.0F;
    /// -1..1.
    float bias = 0.0F;

    bool operator==(const TubeScreamerSettings&) const = default;
};

/// Turns the settings of the overdrive into levels and parts of the circuit, and lets these glide. What
/// changes the circuit goes slower: it goes in steps of a quad.
class TubeScreamerControls {
public:
    enum Group : u32 { Levels, Knobs, GroupCount };
    enum LevelLane : u32 { DryGain, WetGain, Volts };
    enum KnobLane : u32 { Resistance, TonePosition, LowCutHz, BiasShare };

    void Prepare(float rate) {
        constexpr double levelSeconds = 0.01;
        constexpr double knobSeconds = 0.025;
        groups.Prepare(rate, levelSeconds, knobSeconds);
    }
    void SetTargets(const TubeScreamerSettings& settings) {
        // The gain of the stage is 1 + R / Rg.
        const float resistance = Within(static_cast<float>(DiodeClipper::groundResistance) *
                                            (DecibelsToGain(settings.driveDb) - 1.0F),
                                        static_cast<float>(DiodeClipper::lowestResistance),
                                        static_cast<float>(DiodeClipper::highestResistance));
        groups[Levels].Aim({1.0F - settings.mix,
                            settings.mix * DecibelsToGain(settings.levelDb) / voltsToFullScale,
                            voltsAtFullScale * DecibelsToGain(settings.inputDb), 0.0F});
        groups[Knobs].Aim({resistance, settings.tone, settings.lowCutHz, settings.bias});
    }
    void JumpToTargets() { groups.Jump(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }

private:
    /// The pickup of a guitar: what a full scale sample is in volts.
    static constexpr float voltsAtFullScale = 0.2F;
    /// What becomes a full scale sample at a level of 0 dB. At -22 dB and the start values, programme of -20
    /// LUFS keeps its loudness.
    static constexpr float voltsToFullScale = 0.104F;

    ControlGroups<GroupCount, Knobs> groups;
};

} // namespace Velmora::dsp
