// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <algorithm>

/// What a stage needs to write its recursion once, over a number T, and to run it for one channel (T is
/// double) or for two side by side (T is Double2, the left channel in lane 0): a recursion waits for its own
/// last result most of the time, so the second channel comes nearly for free. Every lane sees the operations
/// of the single channel in their order, hence the same bits.
namespace Velmora::dsp {

using simd::Double2;

/// One value per channel as a number.
inline double Lanes(double value) { return value; }
inline Double2 Lanes(double left, double right) { return Double2{left, right}; }

/// Takes a number apart.
inline void SplitLanes(Double2 value, double& left, double& right) {
    double lanes[2];
    value.store_unaligned(lanes);
    left = lanes[0];
    right = lanes[1];
}

/// Holds value to low..high; what is not a number passes, which the order of the operands decides.
inline double ClipLanes(double value, double low, double high) { return std::clamp(value, low, high); }
inline Double2 ClipLanes(Double2 value, double low, double high) {
    return xsimd::min(Double2(high), xsimd::max(Double2(low), value));
}

/// Four successive frames: the loops go in these steps.
template <class T>
struct FrameQuad {
    T frame0;
    T frame1;
    T frame2;
    T frame3;
};

/// A block of one channel to read.
struct SoloInput {
    using Number = double;
    const float* samples;

    FrameQuad<double> Load(u32 n) const {
        const float* at = samples + n;
        return {static_cast<double>(at[0]), static_cast<double>(at[1]), static_cast<double>(at[2]),
                static_cast<double>(at[3])};
    }
};

/// A block of one channel to write.
struct SoloOutput {
    float* samples;

    void Store(u32 n, const FrameQuad<double>& quad) const {
        float* at = samples + n;
        at[0] = static_cast<float>(quad.frame0);
        at[1] = static_cast<float>(quad.frame1);
        at[2] = static_cast<float>(quad.frame2);
        at[3] = static_cast<float>(quad.frame3);
    }
};

/// A block of each of two channels to read.
struct PairInput {
    using Number = Double2;
    const float* left;
    const float* right;

    FrameQuad<Double2> Load(u32 n) const {
        using simd::Float4;
        const Float4 l = Float4::load_unaligned(left + n);
        const Float4 r = Float4::load_unaligned(right + n);
        // Stays in registers.
        float mixed[8];
        xsimd::zip_lo(l, r).store_unaligned(mixed);
        xsimd::zip_hi(l, r).store_unaligned(mixed + 4);
        return {Double2::load_unaligned(mixed), Double2::load_unaligned(mixed + 2),
                Double2::load_unaligned(mixed + 4), Double2::load_unaligned(mixed + 6)};
    }
};

/// A block of each of two channels to write.
struct PairOutput {
    float* left;
    float* right;

    void Store(u32 n, const FrameQuad<Double2>& quad) const {
        xsimd::zip_lo(quad.frame0, quad.frame1).store_unaligned(left + n);
        xsimd::zip_lo(quad.frame2, quad.frame3).store_unaligned(left + n + 2);
        xsimd::zip_hi(quad.frame0, quad.frame1).store_unaligned(right + n);
        xsimd::zip_hi(quad.frame2, quad.frame3).store_unaligned(right + n + 2);
    }
};

/// Blocks of one channel or of two.
inline SoloInput ReadFrom(const float* samples) { return {samples}; }
inline PairInput ReadFrom(const float* left, const float* right) { return {left, right}; }
inline SoloOutput WriteTo(float* samples) { return {samples}; }
inline PairOutput WriteTo(float* left, float* right) { return {left, right}; }

/// Replaces each frame by step(frame), in order.
template <class T, class Step>
inline void StepFrames(FrameQuad<T>& quad, Step&& step) {
    quad.frame0 = step(quad.frame0);
    quad.frame1 = step(quad.frame1);
    quad.frame2 = step(quad.frame2);
    quad.frame3 = step(quad.frame3);
}

/// Calls step on the four frames of two quads, which it changes.
template <class T, class Step>
inline void StepFrames(FrameQuad<T>& first, FrameQuad<T>& second, Step&& step) {
    step(first.frame0, second.frame0);
    step(first.frame1, second.frame1);
    step(first.frame2, second.frame2);
    step(first.frame3, second.frame3);
}

/// Runs a cascade of steps over a block of numFrames, a multiple of 4. Input and output may be the same
/// buffers. Each step takes a quad before the next one does, which leaves it more registers.
template <class Input, class Output, class... Steps>
inline void ForEachFrame(Input input, Output output, u32 numFrames, Steps... steps) {
    for (u32 n = 0; n < numFrames; n += 4) {
        auto quad = input.Load(n);
        (StepFrames(quad, steps), ...);
        output.Store(n, quad);
    }
}

} // namespace Velmora::dsp
