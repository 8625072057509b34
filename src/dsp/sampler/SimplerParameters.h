// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"
#include "support/platform/Types.h"

#include <vector>

namespace Velmora::dsp {

/// What each slot of a sampler has of its own, in the order of the parameter ids.
enum class SlotParameter : u32 {
    /// Semitones, -36 to 36.
    Transpose,
    /// Semitones, -1 to 1.
    Fine,
    /// Hz at which the sample was recorded, 0.01 to 20000.
    RootNote,
    /// Positions in the sample, 0 to 1.
    TrimStart,
    TrimStop,
    LoopStart,
    LoopStop,
    /// Switches are on above 0.5.
    LoopOn,
    /// 0 forward, 1 back and forth.
    LoopType,
    Reverse,
    RepeatOnce,
    /// Decibels, -20 to 20.
    Gain,
    /// 0 left to 1 right.
    Pan,
    /// Share of the loop's length, 0 to 1.
    CrossFade,
    TimeStretchOn,
    /// Speed, 0.125 to 8; 2 plays in half the time.
    TimeStretchFactor,
    /// Index of a length in bars: 0 is 1/32, each further one twice as long, 8 is 8 bars.
    TimeStretchBars,
    /// The length in bars at the host's tempo replaces the factor.
    TimeStretchSync
};

inline constexpr u32 slotParameterCount = 18;

/// All records of a sampler with so many slots: four of its own, then each slot parameter for all slots,
/// then eight more of its own.
std::vector<ModuleParam> SimplerRecords(u32 slotCount);

} // namespace Velmora::dsp
