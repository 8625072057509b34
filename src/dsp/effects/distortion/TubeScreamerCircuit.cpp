// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/TubeScreamerCircuit.h"

#include "dsp/math/Within.h"

#include <cmath>
#include <numbers>

namespace Velmora::dsp {

namespace {

constexpr double seriesOhms = 1e3;
constexpr double inputFarads = 0.22e-6;
constexpr double loadOhms = 10e3;
constexpr double feedbackOhms = 1e3;
constexpr double potOhms = 20e3;
constexpr double wiperOhms = 220.0;
constexpr double wiperFarads = 0.22e-6;

/// Most of the effect lies at the ends of the pot. Its taper spreads them.
double Taper(double position) {
    const double up = position * position;
    const double down = (1.0 - position) * (1.0 - position);
    return up / (up + down);
}

constexpr double steadyHz = 8.0;

/// A step of y += c * (x - y). The corners are far below the rate.
simd::Float4 OnePoleStep(double hz, double rate) {
    return simd::Float4(static_cast<float>(1.0 - std::exp(-2.0 * std::numbers::pi * hz / rate)));
}

} // namespace

bool TubeScreamerTone::IsSound() const {
    return IsIntact(static_cast<double>(xsimd::hadd(xsimd::abs(inputState) + xsimd::abs(wiperState))));
}

/// Of the current through the wiper, i = (V - Vc) / (Rp + Rw) with both parts of the pot in parallel as Rp,
/// the share 1 - t comes from the input and t from the feedback. Both capacitors follow the trapezoidal rule.
void TubeScreamerTone::Set(float position) {
    const auto constant = [](double value) { return Float4(static_cast<float>(value)); };
    const double t = Taper(static_cast<double>(position));
    const double inputStep = 1.0 / (2.0 * rate * inputFarads);
    const double branchStep = 1.0 / (2.0 * rate * wiperFarads);
    const double branch = 1.0 / (potOhms * t * (1.0 - t) + wiperOhms + branchStep);
    const double fromInput = inputStep * (1.0 - t) * branch;
    inputWeight = constant(inputStep / seriesOhms);
    wiperWeight = constant(fromInput);
    opAmpScale = constant(1.0 / (1.0 + inputStep * (1.0 / seriesOhms + 1.0 / loadOhms) + fromInput));
    wiperStep = constant(2.0 * branchStep * branch);
    feedbackWeight = constant(feedbackOhms * t * branch);
}

void TubeScreamerCircuit::Prepare(double newRate) {
    rate = newRate;
    clipper.Prepare(rate);
    tone.Prepare(rate);
    steadyStep = OnePoleStep(steadyHz, rate);
}

void TubeScreamerCircuit::Reset() {
    clipper.Reset();
    tone.Reset();
    bass = steady = steadyRest = Float4(0.0F);
}

bool TubeScreamerCircuit::IsSound() const {
    const auto sum = static_cast<double>(xsimd::hadd(xsimd::abs(bass) + xsimd::abs(steady)));
    return clipper.IsSound() && tone.IsSound() && IsIntact(sum);
}

void TubeScreamerCircuit::Set(const Setting& setting) {
    clipper.Set(setting.resistance, setting.biasAmperes);
    tone.Set(setting.tone);
    lowCutStep = OnePoleStep(static_cast<double>(setting.lowCutHz), rate);
}

} // namespace Velmora::dsp
