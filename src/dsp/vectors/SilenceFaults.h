// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

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

} // namespace Velmora::dsp
