// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/GlidingControls.h"
#include "support/platform/Types.h"

namespace Velmora::dsp {

/// The settings of a bit crusher in their own units, within the bounds that it can render.
struct BitCrusherSettings {
    /// From this rate of the hold on it is off.
    static constexpr float highestRateHz = 48000.0F;
    /// At this corner the high cut is off.
    static constexpr float highestCutHz = 20000.0F;

    float mix = 1.0F;
    float bits = 16.0F;
    float rateHz = highestRateHz;
    float jitter = 0.0F;
    float dither = 0.0F;
    float mu = 0.0F;
    bool antiAlias = false;
    float driveDb = 0.0F;
    float bias = 0.0F;
    float bitErrors = 0.0F;
    float slope = 0.0F;
    float lowCutHz = 20.0F;
    float highCutHz = highestCutHz;
    float wetGainDb = 0.0F;
    float shaping = 0.0F;
    float splitCents = 0.0F;

    bool operator==(const BitCrusherSettings&) const = default;
};

/// Turns the settings of a bit crusher into the numbers of its signal path, and lets these glide.
class BitCrusherControls {
public:
    enum Group : u32 { Levels, Clock, Steps, Noise, Filters, GroupCount };
    /// Unheld: the share of the wet sound that is not held.
    enum LevelLane : u32 { Dry, Wet, Drive, Unheld };
    /// Holds per frame of both channels.
    enum ClockLane : u32 { LeftRate, RightRate, Jitter, Slope };
    enum StepLane : u32 { Bits, Bias, Mu, Shaping };
    /// Filtered: the share of the input that goes through the low-pass ahead of the hold.
    enum NoiseLane : u32 { Dither, BitErrors, Filtered };
    enum FilterLane : u32 { AntiAliasSetting, HighCutSetting, LowCutStep };

    void Prepare(float sampleRate);
    void SetTargets(const BitCrusherSettings& settings);
    void JumpToTargets() { groups.Arrive(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }

private:
    GlidingControls<GroupCount, GroupCount> groups;
    double rate = 44100.0;
};

} // namespace Velmora::dsp
