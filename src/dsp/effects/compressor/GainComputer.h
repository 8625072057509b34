// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <cmath>

namespace Velmora::dsp {

/// The static curve of a compressor in decibels: nothing below the threshold, a part of what exceeds it
/// above, and a parabola between the two over the width of the knee. Thresholds are in dB; an inverse ratio
/// is 0 (a limiter) to 1 (no reduction).
class GainComputer {
public:
    using Float4 = simd::Float4;

    /// Knees that are narrower than this (dB) are hard.
    static constexpr float narrowestKnee = 1e-6F;

    /// In dB, 0 for a hard knee.
    explicit GainComputer(float kneeDecibels)
        : kneeWidth(kneeDecibels >= narrowestKnee ? kneeDecibels : 0.0F),
          curvature(kneeWidth > 0.0F ? 0.5F / kneeWidth : 0.0F) {}

    /// Replaces levels, finite and 0 or above, by the reduction (dB, 0 or above) that they call for with the
    /// threshold and the inverse ratio of each frame. The count is a multiple of 4. The parabola ends where
    /// the straight line begins, with its height and slope; so the sum of both, each held at its end, is the
    /// curve.
    void LevelsToReductions(float* values, const float* thresholds, const float* inverseRatios,
                            u32 count) const {
        const Float4 zero(0.0F);
        const Float4 width(kneeWidth);
        for (u32 n = 0; n < count; n += 4) {
            const Float4 kneeBegin = Float4::load_aligned(thresholds + n) - 0.5F * width;
            const Float4 slope = 1.0F - Float4::load_aligned(inverseRatios + n);
            const Float4 fromBegin = Decibels(Float4::load_aligned(values + n)) - kneeBegin;
            const Float4 inKnee = xsimd::min(xsimd::max(fromBegin, zero), width);
            const Float4 aboveKnee = xsimd::max(fromBegin - width, zero);
            const Float4 reduction = curvature * slope * inKnee * inKnee + slope * aboveKnee;
            reduction.store_aligned(values + n);
        }
    }

    /// Replaces reductions in dB by gains; at most limit is reduced. The count is a multiple of 4.
    static void ReductionsToGains(float* values, u32 count, float limit) {
        constexpr float nepersPerDecibel = 0.115129255F;
        for (u32 n = 0; n < count; n += 4) {
            const Float4 reduction = xsimd::min(Float4::load_aligned(values + n), Float4(limit));
            xsimd::exp(reduction * Float4(-nepersPerDecibel)).store_aligned(values + n);
        }
    }

    /// A factor that gives back 0.7071 of the decibels by which a signal of full scale is reduced.
    float Makeup(float threshold, float inverseRatio) const {
        // -0.05 / sqrt(2) and -0.025 / sqrt(2): powers of ten per decibel.
        constexpr float aboveKnee = -0.0353555F;
        constexpr float withinKnee = -0.0176777F;
        const float slope = 1.0F - inverseRatio;
        if (std::abs(threshold) >= 0.5F * kneeWidth) {
            return std::pow(10.0F, aboveKnee * threshold * slope);
        }
        const float inKnee = 0.5F * kneeWidth - threshold;
        return std::pow(10.0F, withinKnee / kneeWidth * -slope * inKnee * inKnee);
    }

private:
    static Float4 Decibels(Float4 level) {
        // 20 / ln 10.
        constexpr float decibelsPerNeper = 8.685889F;
        constexpr float quietestLevel = 1e-07F;
        constexpr float silenceDecibels = -140.0F;
        return xsimd::select(level < Float4(quietestLevel), Float4(silenceDecibels),
                             xsimd::log(level) * Float4(decibelsPerNeper));
    }

    float kneeWidth;
    /// Of the parabola, for a slope of 1; 0 for a hard knee.
    float curvature;
};

} // namespace Velmora::dsp
