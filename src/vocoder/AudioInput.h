// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/Types.h"
#include "dsp/Simd.h"

#include <algorithm>

namespace Velmora::Processor {

/// No audio is that loud: what lies above, or is not a number, is a fault upstream.
inline constexpr float loudestSample = 1e6F;

/// Copies a block of audio from outside into the core. A faulty sample counts as 0, a null input as silence.
inline void CopyAudioInput(const float* input, float* block, u32 numFrames) {
    if (input == nullptr) {
        std::fill_n(block, numFrames, 0.0F);
        return;
    }
    using dsp::simd::Float4;
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        const Float4 x = Float4::load_unaligned(input + n);
        xsimd::select(xsimd::abs(x) <= loudestSample, x, Float4(0.0F)).store_unaligned(block + n);
    }
}

} // namespace Velmora::Processor
