// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

namespace Velmora::dsp::simd {

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
