// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/distortion/TubeScreamerCircuit.h"
#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"
#include "dsp/smoothing/GlidingControls.h"

#include <array>
#include <cmath>

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
    enum LevelLane : u32 { DryGain, WetLevel, Volts };
    enum KnobLane : u32 { Resistance, TonePosition, LowCutHz, BiasShare };

    void Prepare(float rate) {
        constexpr double levelSeconds = 0.01;
        constexpr double knobSeconds = 0.025;
        groups.Prepare(rate, levelSeconds, knobSeconds);
    }
    void SetTargets(const TubeScreamerSettings& settings) {
        // The gain of the stage is 1 + R / Rg.
        groups[Levels].GlideTo({1.0F - settings.mix,
                                settings.mix * DecibelsToGain(settings.levelDb) / voltsToFullScale,
                                VoltsOf(settings), 0.0F});
        groups[Knobs].GlideTo({ResistanceOf(settings), settings.tone, settings.lowCutHz, settings.bias});
    }
    void JumpToTargets() { groups.Arrive(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    /// Gain of the wet sound at the start of the quad and at its end. It keeps the loudness, within 2 dB,
    /// wherever input and drive stand, and follows these on their ways: of gains that glide apart, the
    /// product would swell.
    float WetGainAtStart() const { return WetGainAt(groups[Levels].start, groups[Knobs].start); }
    float WetGainAtEnd() const { return WetGainAt(groups[Levels].value, groups[Knobs].value); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }

private:
    using Lanes = std::array<float, 4>;

    float WetGainAt(const Lanes& levels, const Lanes& knobs) const {
        return levels[WetLevel] * (usualLoudness / Loudness(levels[Volts], knobs[Resistance]));
    }

    /// The pickup of a guitar: what a full scale sample is in volts.
    static constexpr float voltsAtFullScale = 0.2F;
    /// What becomes a full scale sample at a level of 0 dB and the start values. At -22 dB, programme of -20
    /// LUFS keeps its loudness.
    static constexpr float voltsToFullScale = 0.104F;

    static float VoltsOf(const TubeScreamerSettings& settings) {
        return voltsAtFullScale * DecibelsToGain(settings.inputDb);
    }
    /// The gain of the stage is 1 + R / Rg.
    static float ResistanceOf(const TubeScreamerSettings& settings) {
        constexpr auto ground = static_cast<float>(DiodeClipper::groundResistance);
        return Within(ground * (DecibelsToGain(settings.driveDb) - 1.0F),
                      static_cast<float>(DiodeClipper::lowestResistance),
                      static_cast<float>(DiodeClipper::highestResistance));
    }
    /// Of such programme: what passes clean grows with the input alone, and to what is amplified the diodes
    /// put an end. Fitted to the circuit.
    static float Loudness(float volts, float resistance) {
        constexpr auto ground = static_cast<float>(DiodeClipper::groundResistance);
        const float amplified = 0.255F * volts * (1.0F + resistance / ground);
        return 0.65F * volts + amplified / std::hypot(1.0F, amplified);
    }

    float usualLoudness = Loudness(VoltsOf({}), ResistanceOf({}));
    GlidingControls<GroupCount, Knobs> groups;
};

} // namespace Velmora::dsp
