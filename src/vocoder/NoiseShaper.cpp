// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/NoiseShaper.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace Velmora::Processor {

namespace {

constexpr u32 filterOrder = 5;

// By power of s, 0 to 5.
constexpr double analogueNumerator[filterOrder + 1] = {-0.006567142,  0.00012259114, -1.7005057e-06,
                                                       1.2277966e-13, 5.9999225e-19, -3.4062336e-25};
constexpr double analogueDenominator[filterOrder + 1] = {1.0,           0.0027577083,  1.7417563e-06,
                                                         5.2809288e-11, 4.2178053e-16, 1.7793773e-22};
constexpr double gain = 11.092;
// 2300 Hz in rad/s; the damping of a quality of 0.707.
constexpr double highPassRate = 14451.326;
constexpr double highPassDamping = 0.70710355;

/// Multiplies a polynomial in z^-1, of degree `degree`, by (1 + sign z^-1).
void MultiplyByFactor(double (&polynomial)[filterOrder + 1], u32 degree, double sign) {
    for (u32 i = degree + 1; i > 0; --i) {
        polynomial[i] += sign * polynomial[i - 1];
    }
}

/// Puts s = c (1 - z^-1) / (1 + z^-1) into a polynomial of s, times (1 + z^-1)^5.
void BilinearTransform(const double (&analogue)[filterOrder + 1], double c, double (&digital)[filterOrder + 1]) {
    std::fill(std::begin(digital), std::end(digital), 0.0);
    double scale = 1.0;
    for (u32 power = 0; power <= filterOrder; ++power) {
        double term[filterOrder + 1] = {1.0};
        for (u32 degree = 0; degree < filterOrder; ++degree) {
            MultiplyByFactor(term, degree, degree < power ? -1.0 : 1.0);
        }
        for (u32 i = 0; i <= filterOrder; ++i) {
            digital[i] += analogue[power] * scale * term[i];
        }
        scale *= c;
    }
}

} // namespace

void NoiseShaper::Prepare(double sampleRate) {
    const double c = 2.0 * sampleRate;
    BilinearTransform(analogueNumerator, c, numerator);
    BilinearTransform(analogueDenominator, c, denominator);
    const double leading = denominator[0];
    for (u32 i = 0; i <= order; ++i) {
        numerator[i] *= gain / leading;
        denominator[i] /= leading;
    }
    const double w = highPassRate / sampleRate;
    highPass.SetHighPass(w, std::sin(w) * highPassDamping);
}

void NoiseShaper::Reset() {
    std::fill(std::begin(pastInputs), std::end(pastInputs), 0.0);
    std::fill(std::begin(pastOutputs), std::end(pastOutputs), 0.0);
    highPass.Reset();
}

void NoiseShaper::Process(float* samples, u32 numFrames) {
    const auto& b = numerator;
    const auto& a = denominator;
    auto [x1, x2, x3, x4, x5] = pastInputs;
    auto [y1, y2, y3, y4, y5] = pastOutputs;
    dsp::BiquadSection section = highPass;
    for (u32 n = 0; n < numFrames; ++n) {
        const double x = samples[n];
        const double older = (b[0] * x + b[1] * x1 + b[2] * x2) + (b[3] * x3 + b[4] * x4 + b[5] * x5) -
                             (a[5] * y5 + a[4] * y4 + a[3] * y3) - a[2] * y2;
        const double y = older - a[1] * y1;
        x5 = x4;
        x4 = x3;
        x3 = x2;
        x2 = x1;
        x1 = x;
        y5 = y4;
        y4 = y3;
        y3 = y2;
        y2 = y1;
        y1 = y;
        samples[n] = static_cast<float>(section.Tick(y));
    }
    highPass = section;
    const double newInputs[order] = {x1, x2, x3, x4, x5};
    const double newOutputs[order] = {y1, y2, y3, y4, y5};
    std::copy_n(newInputs, order, pastInputs);
    std::copy_n(newOutputs, order, pastOutputs);
}

} // namespace Velmora::Processor
