// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/SilenceFaults.h"
#include "support/platform/Types.h"

#include <algorithm>

namespace Velmora::Processor {

/// Copies a block of audio from outside into the core. A faulty sample counts as 0, a null input as silence.
inline void CopyAudioInput(const float* input, float* block, u32 numFrames) {
    if (input == nullptr) {
        std::fill_n(block, numFrames, 0.0F);
        return;
    }
    using dsp::simd::Float4;
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        dsp::SilenceFaults(input + n).store_unaligned(block + n);
    }
}

} // namespace Velmora::Processor
