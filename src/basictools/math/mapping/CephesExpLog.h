// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Standard.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Velmora::MappingTools {

// These functions choose between values by the bits only: a comparison of floats may raise an exception flag,
// and a branch may skip an operation; both keep the compiler from turning the loop around into vector code.

/// whenSet for a mask of all ones, whenClear for 0.
inline float SelectByMask(std::int32_t mask, float whenSet, float whenClear) {
    const auto set = BitCast<std::int32_t>(whenSet);
    const auto clear = BitCast<std::int32_t>(whenClear);
    return BitCast<float>((set & mask) | (clear & ~mask));
}

/// exp in single precision after the Cephes scheme, about 1e-7 relative error. Saturates beyond +-88.376
/// (to 2.4e38 and to 0); a NaN counts as beyond the limit on the side of its sign bit.
inline float CephesExp(float x) {
    constexpr auto limitBits = BitCast<std::int32_t>(88.376259F);
    constexpr float log2e = 1.442695F;
    // ln 2 in two parts: the first has few bits, so its product with a whole power is exact.
    constexpr float ln2High = 0.6933594F;
    constexpr float ln2Low = -0.00021219444F;
    // Adding 1.5 * 2^23 leaves no room for fractional bits, so the sum is rounded to a whole number.
    constexpr float roundingBias = 12582912.0F;

    const auto bits = BitCast<std::int32_t>(x);
    const std::int32_t magnitude = std::min(bits & 0x7FFFFFFF, limitBits);
    const std::int32_t sign = bits & std::numeric_limits<std::int32_t>::min();
    float r = BitCast<float>(magnitude | sign);

    const float power = (r * log2e + roundingBias) - roundingBias;
    r = r - power * ln2High;
    r = r - power * ln2Low;

    float poly = 0.00019875691F;
    poly = poly * r + 0.0013981999F;
    poly = poly * r + 0.008333452F;
    poly = poly * r + 0.041665796F;
    poly = poly * r + 0.16666666F;
    poly = poly * r + 0.5F;
    poly = poly * (r * r) + r + 1.0F;

    const std::int32_t exponentBits = (static_cast<std::int32_t>(power) + 127) << 23;
    return poly * BitCast<float>(exponentBits);
}

/// Natural logarithm, the companion of CephesExp. Anything below the smallest normal number, negative values
/// included, counts as that number; infinity and a positive NaN give a number above 88.
inline float CephesLog(float x) {
    constexpr std::int32_t smallestNormalBits = 0x00800000;
    constexpr auto sqrtHalfBits = BitCast<std::int32_t>(0.70710678F);
    constexpr float ln2High = 0.6933594F;
    constexpr float ln2Low = -0.00021219444F;

    // Split into a power of two and a mantissa in sqrt(1/2)..sqrt(2), around the 1 that the series is about.
    const std::int32_t bounded = std::max(BitCast<std::int32_t>(x), smallestNormalBits);
    const std::int32_t aboveSqrtHalf = bounded - sqrtHalfBits;
    const auto power = static_cast<float>(aboveSqrtHalf >> 23);
    const float r = BitCast<float>((aboveSqrtHalf & 0x007FFFFF) + sqrtHalfBits) - 1.0F;

    float poly = 0.070376836F;
    poly = poly * r - 0.11514610F;
    poly = poly * r + 0.11676999F;
    poly = poly * r - 0.12420141F;
    poly = poly * r + 0.14249323F;
    poly = poly * r - 0.16668058F;
    poly = poly * r + 0.20000715F;
    poly = poly * r - 0.24999994F;
    poly = poly * r + 0.33333331F;

    const float square = r * r;
    float tail = poly * r * square;
    tail = tail + power * ln2Low;
    tail = tail - 0.5F * square;
    return r + tail + power * ln2High;
}

} // namespace Velmora::MappingTools
