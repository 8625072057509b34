// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

#include <cmath>

namespace Velmora::dsp {

/// No audio is that loud: what lies above, or is not a number, is a fault upstream.
inline constexpr float loudestSample = 1e6F;

/// The sample, or 0 for a fault.
inline float SoundSample(float x) { return std::abs(x) <= loudestSample ? x : 0.0F; }

/// The same of four samples.
inline simd::Float4 SoundSamples(const float* samples) {
    const auto x = simd::Float4::load_unaligned(samples);
    return xsimd::select(xsimd::abs(x) <= simd::Float4(loudestSample), x, simd::Float4(0.0F));
}

} // namespace Velmora::dsp
