// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Decibels.h"
#include "dsp/smoothing/SmoothedLanes.h"
#include "dsp/vectors/FrameLanes.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

/// How hard a SoftDrive is driven.
struct SoftDriveAmount {
    /// Into the curve.
    float gain = 1.0F;
    /// 0 is the signal as it came.
    float blend = 0.0F;

    simd::Float4 Lanes() const { return {gain, blend, 0.0F, 0.0F}; }

    /// From dB, 0 or above. The first three decibels blend the curve in.
    static SoftDriveAmount Of(float decibels) {
        constexpr float blendedIn = 3.0F;
        return {DecibelsToGain(decibels), std::min(decibels / blendedIn, 1.0F)};
    }
};

/// Soft saturation x / sqrt(1 + x^2) of two channels. What comes out is the mean of the curve between two
/// samples (Parker, Zavalishin, Le Bivic: Reducing the aliasing of nonlinear waveshaping using
/// continuous-time convolution, 2016). For this curve that has a closed form without a quotient of
/// differences: the antiderivative is sqrt(1 + x^2). A pole behind it gives back the treble that a mean
/// costs.
///
/// Programme of -20 LUFS keeps its loudness within 2 dB whatever the drive; louder one gets softer, softer
/// one louder.
class SoftDrive {
public:
    void Reset() { *this = {}; }
    /// Silence leaves it as it is, and comes out.
    bool IsAtRest() const {
        return xsimd::all(lastDriven == Double2(0.0) && lastRoot == Double2(1.0) &&
                          lastOutput == Double2(0.0));
    }

    /// A quad in place. The lanes glide and are in the order of SoftDriveAmount.
    void Run(FrameQuad<Double2>& quad, const SmoothedLanes& lanes) {
        if (lanes.value[blendLane] == 0.0F && lanes.start[blendLane] == 0.0F) {
            Reset();
            return;
        }
        alignas(16) float gain[4];
        alignas(16) float level[4];
        alignas(16) float blend[4];
        const Float4 gains = lanes.Over<true>(0);
        gains.store_aligned(gain);
        LevelBehind(gains).store_aligned(level);
        lanes.Over<true>(blendLane).store_aligned(blend);
        u32 n = 0;
        StepFrames(quad, [&](Double2 x) {
            const Double2 y = Tick(x * static_cast<double>(gain[n])) * static_cast<double>(level[n]);
            return x + static_cast<double>(blend[n++]) * (y - x);
        });
    }

private:
    using Float4 = simd::Float4;
    static constexpr u32 blendLane = 1;

    /// Follows the gain itself: of two that glide apart, the product would swell.
    static Float4 LevelBehind(Float4 gain) {
        const Float4 peak = gain * 0.125F;
        return xsimd::sqrt(1.0F + peak * peak) / gain;
    }

    Double2 Tick(Double2 driven) {
        constexpr double treble = 0.5;
        const Double2 root = xsimd::sqrt(1.0 + driven * driven);
        const Double2 mean = (driven + lastDriven) / (root + lastRoot);
        lastDriven = driven;
        lastRoot = root;
        lastOutput = (1.0 + treble) * mean - treble * lastOutput;
        return lastOutput;
    }

    Double2 lastDriven = Double2(0.0);
    Double2 lastRoot = Double2(1.0);
    Double2 lastOutput = Double2(0.0);
};

} // namespace Velmora::dsp
