// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

/// What keeps a feedback loop bounded, and lets it fall silent: four samples at a time.
namespace Velmora::dsp {

/// Ends a tail that nobody hears any more before it reaches the denormal numbers.
inline simd::Float4 WithoutTail(simd::Float4 x) {
    constexpr float silence = 1e-15F;
    return xsimd::select(xsimd::abs(x) > simd::Float4(silence), x, simd::Float4(0.0F));
}

/// Bends towards a ceiling, at most as steep as the straight line. The inverse of the ceiling: 0 leaves the
/// samples as they are.
inline simd::Float4 Saturate(simd::Float4 x, simd::Float4 inverseCeiling) {
    const simd::Float4 bend = x * inverseCeiling;
    return x / xsimd::sqrt(1.0F + bend * bend);
}

/// The bound of a loop: straight up to 6 dB above full scale, never beyond 12 dB.
inline simd::Float4 SoftCeiling(simd::Float4 x) {
    using simd::Float4;
    constexpr float knee = 2.0F;
    const Float4 magnitude = xsimd::abs(x);
    if (!xsimd::any(magnitude > Float4(knee))) {
        return x;
    }
    const Float4 over = xsimd::max((magnitude - knee) * (1.0F / knee), Float4(0.0F));
    const Float4 bent = xsimd::min(magnitude, Float4(knee)) + knee * (over / (1.0F + over));
    return xsimd::copysign(bent, x);
}

} // namespace Velmora::dsp
