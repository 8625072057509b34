// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/shared/LoopCuts.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Velmora::dsp {

namespace {

/// A control position need not hit an end of its range exactly.
constexpr float nearly = 0.0005F;

/// Of a trapezoidal integrator in its loop; the tangent puts the corner where it belongs at any rate.
float FilterStep(float hz, float sampleRate) {
    const float t = std::tan(std::numbers::pi_v<float> * std::min(hz / sampleRate, 0.49F));
    return t / (1.0F + t);
}

} // namespace

simd::Float4 LoopCuts::Coefficients(float lowHz, float highHz, float sampleRate) {
    return {FilterStep(lowHz, sampleRate), lowHz > lowestHz * (1.0F + nearly) ? 1.0F : 0.0F,
            FilterStep(highHz, sampleRate), highHz < highestHz * (1.0F - nearly) ? 1.0F : 0.0F};
}

} // namespace Velmora::dsp
