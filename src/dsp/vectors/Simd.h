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

} // namespace Velmora::dsp::simd
