// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <cmath>

namespace Velmora::dsp {

/// No audio is that loud: a sample above, or one that is not a number, is a fault upstream.
inline constexpr float loudestSample = 1e6F;

/// The sample, or silence for a fault.
inline float SilenceFaults(float sample) { return std::abs(sample) <= loudestSample ? sample : 0.0F; }

/// The same of four samples.
inline simd::Float4 SilenceFaults(simd::Float4 samples) {
    return xsimd::select(xsimd::abs(samples) <= simd::Float4(loudestSample), samples, simd::Float4(0.0F));
}

/// Four samples from a buffer, faults silenced.
inline simd::Float4 SilenceFaults(const float* samples) {
    return SilenceFaults(simd::Float4::load_unaligned(samples));
}

/// As far as sound from outside goes in, +40 dBFS: no circuit can tell louder sound from full drive.
inline constexpr float loudestInput = 100.0F;

/// Holds a block to that, faults silenced. Whole groups of four; the buffers may be the same.
inline void AdmitInput(const float* input, float* output, u32 frames) {
    using simd::Float4;
    for (u32 n = 0; n < frames; n += Float4::size) {
        xsimd::min(xsimd::max(SilenceFaults(input + n), Float4(-loudestInput)), Float4(loudestInput))
            .store_unaligned(output + n);
    }
}

} // namespace Velmora::dsp
