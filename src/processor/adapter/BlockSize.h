// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>
#include <cmath>

namespace Velmora::Processor {

/// A rate in Hz that a host may name; what is no rate becomes 44100 Hz.
inline float ClampSampleRate(float sampleRate) {
    return sampleRate > 0.0F ? std::min(sampleRate, 384000.0F) : 44100.0F;
}

/// The rate that the engine is run at: filters and times hold from 8 kHz on, and a lower one is taken as
/// that.
inline float EngineSampleRate(float sampleRate) { return std::max(ClampSampleRate(sampleRate), 8000.0F); }

/// Frames of one block: whole groups of four, about a millisecond.
inline u32 BlockSizeAt(float sampleRate) {
    constexpr float groupsPerHertz = 0.0002494331F;
    const auto groups = static_cast<u32>(std::lround(ClampSampleRate(sampleRate) * groupsPerHertz));
    return std::max(groups * 4U, 4U);
}

} // namespace Velmora::Processor
