// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/ToneControl.h"

#include "dsp/math/CornerAngle.h"
#include "dsp/math/Within.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

using simd::Double2;
using simd::Float4;

constexpr float lowestCorner = 20.0F;
constexpr float highestCorner = 20000.0F;
constexpr float octaves = 10.0F;
constexpr float pi = 3.1415927F;
/// The inverse of the quality: a Butterworth shape.
constexpr float damping = 1.4142071F;

/// The lower halves of two vectors, and the upper ones.
Float4 LowerHalves(Float4 a, Float4 b) {
    return xsimd::bitwise_cast<Float4>(
        xsimd::zip_lo(xsimd::bitwise_cast<Double2>(a), xsimd::bitwise_cast<Double2>(b)));
}
Float4 UpperHalves(Float4 a, Float4 b) {
    return xsimd::bitwise_cast<Float4>(
        xsimd::zip_hi(xsimd::bitwise_cast<Double2>(a), xsimd::bitwise_cast<Double2>(b)));
}

/// Lower half of one vector, upper half of another.
Float4 Halves(Float4 lower, Float4 upper) { return LowerHalves(lower, UpperHalves(upper, upper)); }

} // namespace

struct ToneControl::Section {
    float keep;
    float couple;
    float follow;
};

void ToneControl::SetControl(float control) {
    const float factor = std::exp2(octaves * control);
    const Section low = ForCorner(std::min(highestCorner * factor, highestCorner));
    const Section high = ForCorner(std::max(lowestCorner * factor, lowestCorner));
    keep = {low.keep, low.keep, high.keep, high.keep};
    couple = {low.couple, low.couple, high.couple, high.couple};
    follow = {low.follow, low.follow, high.follow, high.follow};
}

ToneControl::Section ToneControl::ForCorner(float hz) const {
    const auto corner = static_cast<float>(LimitCorner(hz, sampleRate));
    const float g = std::tan(pi * corner / sampleRate);
    const float a1 = 1.0F / (1.0F + g * (g + damping));
    const float a2 = g * a1;
    return {2.0F * a1 - 1.0F, 2.0F * a2, 2.0F * g * a2};
}

void ToneControl::Clear() { state = {}; }

bool ToneControl::IsSound() const {
    const Float4 largest = xsimd::abs(state.s1) + xsimd::abs(state.s2);
    return IsIntact(static_cast<double>(xsimd::hadd(largest)));
}

/// One group through both sections: the lowpass takes the signal, the highpass the lowpass of the group
/// before, so that the two do not wait for each other. Then `lowpassed` is that of this group and the upper
/// lanes of `signal` are the result for the one before.
inline void ToneControl::Step(Group& lowpassed, Group& signal) {
    State s = state;
    for (u32 n = 0; n < groupSize; ++n) {
        const Float4 x = LowerHalves(signal.frame[n], lowpassed.frame[n]);
        const State before = s;
        s.s1 = keep * before.s1 + (couple * x - couple * before.s2);
        s.s2 = (before.s2 - follow * before.s2) + (couple * before.s1 + follow * x);
        // Both sections' band and low outputs lie half way between the old state and the new one.
        const Float4 band = (before.s1 + s.s1) * 0.5F;
        const Float4 low = (before.s2 + s.s2) * 0.5F;
        lowpassed.frame[n] = low;
        signal.frame[n] = x - damping * band - low;
    }
    state = s;
}

void ToneControl::Run(float* left, float* right, u32 frames) {
    if (frames == 0) {
        return;
    }
    Group lowpassed;
    for (u32 n = 0; n <= frames; n += groupSize) {
        Group signal;
        if (n < frames) {
            const Float4 l = Float4::load_aligned(left + n);
            const Float4 r = Float4::load_aligned(right + n);
            const Float4 first = xsimd::zip_lo(l, r);
            const Float4 second = xsimd::zip_hi(l, r);
            signal = {{first, UpperHalves(first, first), second, UpperHalves(second, second)}};
        }
        const State before = state;
        Step(lowpassed, signal);
        if (n == 0) {
            // The highpass has nothing to do yet.
            state = {Halves(state.s1, before.s1), Halves(state.s2, before.s2)};
            continue;
        }
        if (n == frames) {
            // The lowpass has nothing to do any more.
            state = {Halves(before.s1, state.s1), Halves(before.s2, state.s2)};
        }
        const Float4 first = UpperHalves(signal.frame[0], signal.frame[1]);
        const Float4 second = UpperHalves(signal.frame[2], signal.frame[3]);
        const Float4 even = xsimd::zip_lo(first, second);
        const Float4 odd = xsimd::zip_hi(first, second);
        xsimd::zip_lo(even, odd).store_aligned(left + n - groupSize);
        xsimd::zip_hi(even, odd).store_aligned(right + n - groupSize);
    }
}

} // namespace Velmora::dsp
