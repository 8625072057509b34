// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/DiodeClipper.h"

#include "dsp/math/IntactState.h"

namespace Velmora::dsp {

void DiodeClipper::Prepare(double newRate) {
    rate = newRate;
    const double g = 1.0 / (2.0 * rate * groundResistance * groundCapacitance);
    highPassStep = Float4(static_cast<float>(g / (1.0 + g)));
}

void DiodeClipper::Reset() { highPassState = last = lastButOne = Float4(0.0F); }

bool DiodeClipper::IsSound() const {
    return IsIntact(static_cast<double>(
        xsimd::hadd(xsimd::abs(highPassState) + xsimd::abs(last) + xsimd::abs(lastButOne))));
}

/// V = (4 V1 - V2) / 3 + k (i - V / R - 2 I sinh(V / nVt)), k = 2 / (3 C rate), over 1 + k / R and in units
/// of nVt, is x + A sinh(x) = P.
void DiodeClipper::Aim(float resistance, float biasAmperes) {
    const double k = 2.0 / (3.0 * feedbackCapacitance * rate);
    const double whole = 1.0 + k / static_cast<double>(resistance);
    lastWeight = Float4(static_cast<float>(4.0 / (3.0 * whole)));
    lastButOneWeight = Float4(static_cast<float>(-1.0 / (3.0 * whole)));
    const double perAmpere = k / (thermalVoltage * whole);
    inputWeight = Float4(static_cast<float>(perAmpere / groundResistance));
    biasDrive = Float4(static_cast<float>(perAmpere) * biasAmperes);
    knee.Aim(static_cast<float>(saturationCurrent * perAmpere));
}

} // namespace Velmora::dsp
