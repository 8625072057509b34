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

template <class T, class Input, class Output>
void NoiseShaper::Run(Input input, Output output, u32 numFrames, Section<T>& response,
                      dsp::BasicBiquadSection<T>& highPass) {
    Section<T> shape = response;
    dsp::BasicBiquadSection<T> section = highPass;
    dsp::ForEachFrame(
        input, output, numFrames, [&](T x) { return shape.Tick(x); }, [&](T x) { return section.Tick(x); });
    response = shape;
    highPass = section;
}

void NoiseShaper::Process(float* samples, u32 numFrames) {
    Run(dsp::SoloInput{samples}, dsp::SoloOutput{samples}, numFrames, response, highPass);
}

void NoiseShaper::ProcessPair(NoiseShaper& left, float* leftSamples, NoiseShaper& right, float* rightSamples,
                              u32 numFrames) {
    Section<dsp::Double2> both;
    for (u32 i = 0; i <= order; ++i) {
        both.numerator[i] = dsp::Lanes(left.response.numerator[i], right.response.numerator[i]);
        both.denominator[i] = dsp::Lanes(left.response.denominator[i], right.response.denominator[i]);
    }
    for (u32 i = 0; i < order; ++i) {
        both.pastInputs[i] = dsp::Lanes(left.response.pastInputs[i], right.response.pastInputs[i]);
        both.pastOutputs[i] = dsp::Lanes(left.response.pastOutputs[i], right.response.pastOutputs[i]);
    }
    dsp::BiquadPair section = Join(left.highPass, right.highPass);
    Run(dsp::PairInput{leftSamples, rightSamples}, dsp::PairOutput{leftSamples, rightSamples}, numFrames,
        both, section);
    for (u32 i = 0; i < order; ++i) {
        dsp::SplitLanes(both.pastInputs[i], left.response.pastInputs[i], right.response.pastInputs[i]);
        dsp::SplitLanes(both.pastOutputs[i], left.response.pastOutputs[i], right.response.pastOutputs[i]);
    }
    SplitState(section, left.highPass, right.highPass);
}

} // namespace Velmora::Processor
