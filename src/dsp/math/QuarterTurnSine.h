// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

#include <cstdint>

namespace Velmora::dsp {

/// sin(turns * pi / 2), a vector V of floats at a time, for arguments in quarter turns up to a million: the
/// reduction is then exact, because the period is a whole number. The odd polynomial interpolates the sine at
/// Chebyshev nodes; its error is below 1e-7.
template <class V>
inline V QuarterTurnSine(const V& turns) {
    using Words = xsimd::batch<std::int32_t, typename V::arch_type>;
    // Adding this rounds to a whole number, whose lowest bit is then the lowest bit of the word.
    const V roundingBias(12582912.0F);
    const V biased = turns * 0.5F + roundingBias;
    const V r = turns - (biased - roundingBias) * 2.0F;
    const V r2 = r * r;
    V p = r2 * 0.000151671702F - 0.00467414362F;
    p = p * r2 + 0.0796899199F;
    p = p * r2 - 0.645963788F;
    p = p * r2 + 1.57079637F;
    // Every odd half turn changes the sign.
    const Words sign = xsimd::bitwise_cast<Words>(biased) << 31;
    return xsimd::bitwise_cast<V>(xsimd::bitwise_cast<Words>(p * r) ^ sign);
}

} // namespace Velmora::dsp
