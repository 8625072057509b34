// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

/// Two successive frames of two channels in one vector: left, right, left, right.
namespace Velmora::dsp::simd {

inline Float4 FirstFrameTwice(Float4 pair) {
    const auto halves = xsimd::bitwise_cast<Double2>(pair);
    return xsimd::bitwise_cast<Float4>(xsimd::zip_lo(halves, halves));
}

inline Float4 SecondFrameTwice(Float4 pair) {
    const auto halves = xsimd::bitwise_cast<Double2>(pair);
    return xsimd::bitwise_cast<Float4>(xsimd::zip_hi(halves, halves));
}

/// A pair of the first frames of two others.
inline Float4 JoinFrames(Float4 first, Float4 second) {
    return xsimd::bitwise_cast<Float4>(
        xsimd::zip_lo(xsimd::bitwise_cast<Double2>(first), xsimd::bitwise_cast<Double2>(second)));
}

/// Four frames of two channels as two pairs, and back.
inline void ToPairs(Float4& left, Float4& right) {
    const Float4 first = xsimd::zip_lo(left, right);
    right = xsimd::zip_hi(left, right);
    left = first;
}

inline void FromPairs(Float4& first, Float4& second) {
    // Twice sorting even from odd lanes.
    const Float4 a = xsimd::zip_lo(first, second);
    const Float4 b = xsimd::zip_hi(first, second);
    first = xsimd::zip_lo(a, b);
    second = xsimd::zip_hi(a, b);
}

/// Replaces each of four frames by step(frame), in order. The frames have left and right in lanes 0 and 1,
/// and again in 2 and 3.
template <class Step>
inline void StepStereo(Float4& left, Float4& right, Step&& step) {
    ToPairs(left, right);
    for (Float4* pair : {&left, &right}) {
        const Float4 first = step(FirstFrameTwice(*pair));
        const Float4 second = step(SecondFrameTwice(*pair));
        *pair = JoinFrames(first, second);
    }
    FromPairs(left, right);
}

} // namespace Velmora::dsp::simd
