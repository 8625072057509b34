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

} // namespace Velmora::dsp::simd
