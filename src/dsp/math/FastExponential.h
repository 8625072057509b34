// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "support/platform/Standard.h"
#include "support/platform/Types.h"

/// Exponential and logarithm for control curves, within 1e-4: both build on the bit pattern of a
/// float, whose exponent field is a logarithm already, and correct the mantissa by a fraction of one pole.
namespace Velmora::dsp {

namespace details {

inline constexpr float log2OfE = 1.442695F;
/// Beyond these powers of two the pattern would leave the normal floats.
inline constexpr float lowestPower = -126.0F;
inline constexpr float highestPower = 127.0F;
/// 2^23: one step of the exponent field.
inline constexpr float exponentUnit = 8388608.0F;

/// The bit pattern of 2^p as a number; fraction is that of p, counted from the next lower integer.
template <class T>
T PatternOfPower(T p, T fraction) {
    return ((T(27.728024F) / (T(4.8425255F) - fraction) + p + T(121.274055F)) - fraction * T(1.4901291F)) *
           T(exponentUnit);
}

} // namespace details

/// e^x, exactly 1 at 0. The result stays within the normal floats, and what is not a number gives the
/// smallest of them.
inline float FastExp(float x) {
    float p = x * details::log2OfE;
    p = p > details::lowestPower ? p : details::lowestPower;
    p = p < details::highestPower ? p : details::highestPower;
    const float whole = static_cast<float>(static_cast<i32>(p));
    const float fraction = p < 0.0F ? p - whole + 1.0F : p - whole;
    return BitCast<float>(static_cast<i32>(details::PatternOfPower(p, fraction)));
}

/// The same of four numbers, to the bit.
inline simd::Float4 FastExp(simd::Float4 x) {
    using simd::Float4;
    const Float4 scaled = x * Float4(details::log2OfE);
    // The second operand is the one that comes through when the first is not a number.
    const Float4 p =
        xsimd::min(xsimd::max(scaled, Float4(details::lowestPower)), Float4(details::highestPower));
    const Float4 rest = p - xsimd::to_float(xsimd::to_int(p));
    const Float4 fraction = xsimd::select(p < Float4(0.0F), rest + Float4(1.0F), rest);
    return xsimd::bitwise_cast<Float4>(xsimd::to_int(details::PatternOfPower(p, fraction)));
}

/// Natural logarithm of a positive number.
inline float FastLog(float y) {
    const u32 pattern = BitCast<u32>(y);
    const float mantissa = BitCast<float>((pattern & 0x007FFFFFU) | 0x3F000000U);
    const float log2 = static_cast<float>(pattern) * 1.1920929e-07F - 124.22552F - mantissa * 1.4980303F -
                       1.72588F / (mantissa + 0.35208872F);
    return log2 * 0.6931472F;
}

} // namespace Velmora::dsp
