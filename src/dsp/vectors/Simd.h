// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <xsimd/xsimd.hpp>

namespace Velmora::dsp::simd {

/// The four-lane vector that every x86-64 has; on other machines the best that the compiler may assume.
#if defined(__x86_64__) || defined(_M_X64)
using BaselineArch = xsimd::sse2;
#else
using BaselineArch = xsimd::default_arch;
#endif

using Float4 = xsimd::batch<float, BaselineArch>;
/// One number of each of two channels.
using Double2 = xsimd::batch<double, BaselineArch>;

static_assert(Float4::size == 4 && Double2::size == 2, "the loops are written for 16-byte vectors");

/// Turns four rows into the four columns of their matrix.
inline void Transpose(Float4& a, Float4& b, Float4& c, Float4& d) {
    const Float4 acLow = xsimd::zip_lo(a, c);
    const Float4 acHigh = xsimd::zip_hi(a, c);
    const Float4 bdLow = xsimd::zip_lo(b, d);
    const Float4 bdHigh = xsimd::zip_hi(b, d);
    a = xsimd::zip_lo(acLow, bdLow);
    b = xsimd::zip_hi(acLow, bdLow);
    c = xsimd::zip_lo(acHigh, bdHigh);
    d = xsimd::zip_hi(acHigh, bdHigh);
}

} // namespace Velmora::dsp::simd
