// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/compressor/GainComputer.h"

#include "dsp/vectors/Simd.h"

#include <cmath>

namespace Velmora::dsp {

namespace {

using simd::Float4;

/// 20 / ln 10.
constexpr float decibelsPerNeper = 8.685889F;
constexpr float nepersPerDecibel = 0.115129255F;
constexpr float quietestLevel = 1e-07F;
constexpr float silenceDecibels = -140.0F;
/// -0.05 / sqrt(2) and -0.025 / sqrt(2): powers of ten per decibel.
constexpr float makeupAboveKnee = -0.0353555F;
constexpr float makeupInKnee = -0.0176777F;

Float4 Decibels(Float4 level) {
    return xsimd::select(level < Float4(quietestLevel), Float4(silenceDecibels),
                         xsimd::log(level) * Float4(decibelsPerNeper));
}

} // namespace

GainComputer::GainComputer(float thresholdDecibels, float inverseRatio, float kneeDecibels)
    : threshold(thresholdDecibels), slope(1.0F - inverseRatio),
      kneeWidth(kneeDecibels >= narrowestKnee ? kneeDecibels : 0.0F),
      curvature(kneeWidth > 0.0F ? 0.5F / kneeWidth * slope : 0.0F) {}

/// The parabola ends where the straight line begins, with its height and slope; so the sum of both, each
/// held at its end, is the curve.
void GainComputer::LevelsToReductions(float* values, u32 count) const {
    const Float4 zero(0.0F);
    const Float4 width(kneeWidth);
    const Float4 kneeBegin(threshold - 0.5F * kneeWidth);
    for (u32 n = 0; n < count; n += 4) {
        const Float4 fromBegin = Decibels(Float4::load_aligned(values + n)) - kneeBegin;
        const Float4 inKnee = xsimd::min(xsimd::max(fromBegin, zero), width);
        const Float4 aboveKnee = xsimd::max(fromBegin - width, zero);
        const Float4 reduction = Float4(curvature) * inKnee * inKnee + Float4(slope) * aboveKnee;
        reduction.store_aligned(values + n);
    }
}

void GainComputer::ReductionsToGains(float* values, u32 count, float limit) {
    for (u32 n = 0; n < count; n += 4) {
        const Float4 reduction = xsimd::min(Float4::load_aligned(values + n), Float4(limit));
        xsimd::exp(reduction * Float4(-nepersPerDecibel)).store_aligned(values + n);
    }
}

float GainComputer::Makeup() const {
    if (std::abs(threshold) >= 0.5F * kneeWidth) {
        return std::pow(10.0F, makeupAboveKnee * threshold * slope);
    }
    const float inKnee = 0.5F * kneeWidth - threshold;
    return std::pow(10.0F, makeupInKnee / kneeWidth * -slope * inKnee * inKnee);
}

} // namespace Velmora::dsp
