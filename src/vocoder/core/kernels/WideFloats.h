// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// As VocoderKernelsImpl.h, which includes it.

#include <xsimd/xsimd.hpp>

/// Floats in memory as vectors of doubles. By intrinsics where there are some: compilers take such a
/// conversion apart, and put it together by way of memory.
namespace Velmora::Processor::kernels {

template <class Arch>
xsimd::batch<double, Arch> WidenFloats(const float* at) {
    using D = xsimd::batch<double, Arch>;
#ifdef __AVX512F__
    if constexpr (D::size == 8) {
        return _mm512_cvtps_pd(_mm256_load_ps(at));
    }
#endif
#ifdef __AVX__
    if constexpr (D::size == 4) {
        return _mm256_cvtps_pd(_mm_load_ps(at));
    }
#endif
    alignas(D::size * sizeof(double)) double wide[D::size];
    for (unsigned i = 0; i < D::size; ++i) {
        wide[i] = static_cast<double>(at[i]);
    }
    return D::load_aligned(wide);
}

template <class Arch>
void StoreFloats(const xsimd::batch<double, Arch>& numbers, float* at) {
    using D = xsimd::batch<double, Arch>;
#ifdef __AVX512F__
    if constexpr (D::size == 8) {
        _mm256_store_ps(at, _mm512_cvtpd_ps(numbers));
        return;
    }
#endif
#ifdef __AVX__
    if constexpr (D::size == 4) {
        _mm_store_ps(at, _mm256_cvtpd_ps(numbers));
        return;
    }
#endif
    alignas(D::size * sizeof(double)) double wide[D::size];
    numbers.store_aligned(wide);
    for (unsigned i = 0; i < D::size; ++i) {
        at[i] = static_cast<float>(wide[i]);
    }
}

} // namespace Velmora::Processor::kernels
