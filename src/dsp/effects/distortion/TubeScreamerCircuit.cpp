// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/TubeScreamerCircuit.h"

#include "dsp/math/IntactState.h"

#include <cmath>
#include <numbers>

namespace Velmora::dsp {

namespace {

constexpr double steadyHz = 8.0;

/// A step of y += c * (x - y). The corners are far below the rate.
simd::Float4 OnePoleStep(double hz, double rate) {
    return simd::Float4(static_cast<float>(1.0 - std::exp(-2.0 * std::numbers::pi * hz / rate)));
}

} // namespace

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

void TubeScreamerCircuit::Aim(const Setting& setting) {
    clipper.Aim(setting.resistance, setting.biasAmperes);
    tone.Aim(setting.tone);
    lowCutStep = OnePoleStep(static_cast<double>(setting.lowCutHz), rate);
}

} // namespace Velmora::dsp
