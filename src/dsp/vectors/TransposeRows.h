// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <xsimd/xsimd.hpp>

namespace Velmora::dsp {

/// Turns four rows of four lanes into the columns of their matrix. A template over the vector, so that
/// kernels of wider instruction sets have copies of their own.
template <class V>
inline void TransposeRows(V& a, V& b, V& c, V& d) {
    const V acLow = xsimd::zip_lo(a, c);
    const V acHigh = xsimd::zip_hi(a, c);
    const V bdLow = xsimd::zip_lo(b, d);
    const V bdHigh = xsimd::zip_hi(b, d);
    a = xsimd::zip_lo(acLow, bdLow);
    b = xsimd::zip_hi(acLow, bdLow);
    c = xsimd::zip_lo(acHigh, bdHigh);
    d = xsimd::zip_hi(acHigh, bdHigh);
}

} // namespace Velmora::dsp
