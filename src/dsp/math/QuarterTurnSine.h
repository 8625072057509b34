// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

#include <cstdint>

namespace Velmora::dsp {

/// sin(turns * pi / 2), four at a time, for arguments in quarter turns up to a million: the reduction is then
/// exact, because the period is a whole number. The odd polynomial interpolates the sine at Chebyshev nodes;
/// its error is below 1e-7.
inline simd::Float4 QuarterTurnSine(const simd::Float4& turns) {
    using simd::Float4;
    using Int4 = xsimd::batch<std::int32_t, simd::BaselineArch>;
    // Adding this rounds to a whole number, whose lowest bit is then the lowest bit of the word.
    const Float4 roundingBias(12582912.0F);
    const Float4 biased = turns * 0.5F + roundingBias;
    const Float4 r = turns - (biased - roundingBias) * 2.0F;
    const Float4 r2 = r * r;
    Float4 p = r2 * 0.000151671702F - 0.00467414362F;
    p = p * r2 + 0.0796899199F;
    p = p * r2 - 0.645963788F;
    p = p * r2 + 1.57079637F;
    // Every odd half turn changes the sign.
    const Int4 sign = xsimd::bitwise_cast<Int4>(biased) << 31;
    return xsimd::bitwise_cast<Float4>(xsimd::bitwise_cast<Int4>(p * r) ^ sign);
}

} // namespace Velmora::dsp
