// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/bitcrusher/BitCrusherSettings.h"
#include "dsp/smoothing/ControlGroups.h"

namespace Velmora::dsp {

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
    void Aim(const BitCrusherSettings& settings);
    /// Arrives at once.
    void Jump() { groups.Jump(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }

private:
    ControlGroups<GroupCount, GroupCount> groups;
    double rate = 44100.0;
};

} // namespace Velmora::dsp
