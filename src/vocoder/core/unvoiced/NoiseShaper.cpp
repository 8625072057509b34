// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/NoiseShaper.h"

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
void BilinearTransform(const double (&analogue)[filterOrder + 1], double c,
                       double (&digital)[filterOrder + 1]) {
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
    BilinearTransform(analogueNumerator, c, response.numerator);
    BilinearTransform(analogueDenominator, c, response.denominator);
    const double leading = response.denominator[0];
    for (u32 i = 0; i <= order; ++i) {
        response.numerator[i] *= gain / leading;
        response.denominator[i] /= leading;
    }
    const double w = highPassRate / sampleRate;
    highPass.SetHighPass(w, std::sin(w) * highPassDamping);
}

void NoiseShaper::Reset() {
    std::fill(std::begin(response.pastInputs), std::end(response.pastInputs), 0.0);
    std::fill(std::begin(response.pastOutputs), std::end(response.pastOutputs), 0.0);
    highPass.Reset();
}

template <class T>
inline T NoiseShaper::Section<T>::Tick(T x) {
    const auto& b = numerator;
    const auto& a = denominator;
    auto& xs = pastInputs;
    auto& ys = pastOutputs;
    const T older = (b[0] * x + b[1] * xs[0] + b[2] * xs[1]) + (b[3] * xs[2] + b[4] * xs[3] + b[5] * xs[4]) -
                    (a[5] * ys[4] + a[4] * ys[3] + a[3] * ys[2]) - a[2] * ys[1];
    const T y = older - a[1] * ys[0];
    for (u32 i = order - 1; i > 0; --i) {
        xs[i] = xs[i - 1];
        ys[i] = ys[i - 1];
    }
    xs[0] = x;
    ys[0] = y;
    return y;
}

NoiseShaper::Section<dsp::Double2> NoiseShaper::JoinSections(const Section<double>& left,
                                                             const Section<double>& right) {
    Section<dsp::Double2> both;
    for (u32 i = 0; i <= order; ++i) {
        both.numerator[i] = dsp::Lanes(left.numerator[i], right.numerator[i]);
        both.denominator[i] = dsp::Lanes(left.denominator[i], right.denominator[i]);
    }
    for (u32 i = 0; i < order; ++i) {
        both.pastInputs[i] = dsp::Lanes(left.pastInputs[i], right.pastInputs[i]);
        both.pastOutputs[i] = dsp::Lanes(left.pastOutputs[i], right.pastOutputs[i]);
    }
    return both;
}

void NoiseShaper::SplitSection(const Section<dsp::Double2>& pair, Section<double>& left,
                               Section<double>& right) {
    for (u32 i = 0; i < order; ++i) {
        dsp::SplitLanes(pair.pastInputs[i], left.pastInputs[i], right.pastInputs[i]);
        dsp::SplitLanes(pair.pastOutputs[i], left.pastOutputs[i], right.pastOutputs[i]);
    }
}

template <class... Channels>
void NoiseShaper::RunTogether(u32 numFrames, const Channels&... channels) {
    auto shape = JoinSections(channels.shaper.response...);
    auto section = dsp::Join(channels.shaper.highPass...);
    dsp::ForEachFrame(
        dsp::ReadFrom(static_cast<const float*>(channels.samples)...), dsp::WriteTo(channels.samples...),
        numFrames, [&](auto x) { return shape.Tick(x); }, [&](auto x) { return section.Tick(x); });
    SplitSection(shape, channels.shaper.response...);
    dsp::SplitState(section, channels.shaper.highPass...);
}

void NoiseShaper::Run(u32 numFrames, Channel channel) { RunTogether(numFrames, channel); }

void NoiseShaper::Run(u32 numFrames, Channel left, Channel right) { RunTogether(numFrames, left, right); }

} // namespace Velmora::Processor
