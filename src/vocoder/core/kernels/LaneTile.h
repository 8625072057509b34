// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"
#include "vocoder/core/kernels/BiquadLanes.h"

namespace Velmora::Processor {

/// A short stretch of all sixteen bands with the bands side by side, so that a recursion runs on vectors of
/// bands. Modules exchange one buffer per band; tiles turn them over, 4 x 4 samples at a time.
struct alignas(64) LaneTile {
    static constexpr u32 maxFrames = 16;
    float samples[maxFrames][bandCount];

    float* Data() { return samples[0]; }
};

} // namespace Velmora::Processor
