// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/VcaModel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orphia_reference {

namespace {

constexpr double vcaDrive = 0.02296043 * 12.5;
constexpr double vcaOutputScale = 100000.0;

constexpr double busPot = 0.05178, busPreGain = 12.019231, busPostGain = 20000.0;
constexpr double hfPot = 0.087402, hfPreGain = 10.438414, hfPostGain = 39000.0;

} // namespace

double VcaModel::Step(double carrier, double noise, double firstControl, double secondControl) const {
    const double s = polarity * vcaDrive;
    return (Saturation(s * noise) * secondControl + Saturation(s * carrier) * firstControl) * vcaOutputScale;
}

double VcaModel::Saturation(double v) {
    return std::clamp((v * v + 27.0) * v / (v * v * 9.0 + 27.0), -1.0, 1.0);
}

double VcaModel::PolarityOfBand(int band) { return band % 2 == 0 ? -1.0 : 1.0; }

GateModel::GateModel(double pot, double preGain, double postGain, double sampleRate)
    : inputGain(-470.0 / (pot * 100000.0 + 30470.0) * preGain), outputGain(postGain), rate(sampleRate) {}

void GateModel::SetCorners(double attackHz, double releaseHz) {
    attack.Design({Shape::LowPass, std::numbers::pi * attackHz}, rate);
    release.Design({Shape::LowPass, std::numbers::pi * releaseHz}, rate);
}

double GateModel::Step(double signal, double control) {
    if (control > 0.0) {
        gate = release.b1 * release.x1 - release.a1 * release.y1;
        release.x1 = 0.0;
        // As if the attack filter had rested at this value.
        attack.x1 = (attack.a1 * gate + gate) / attack.b1;
    } else {
        const double i = Current(control);
        gate = attack.b1 * attack.x1 + attack.b0 * i - attack.a1 * attack.y1;
        attack.x1 = i;
        // As if the release filter had arrived at the same value by itself.
        release.x1 = (gate - release.b0 * i + release.a1 * gate) / release.b1;
    }
    attack.y1 = release.y1 = gate;
    return Limiter(inputGain * signal) * gate * outputGain;
}

double GateModel::Current(double c) {
    if (c < -1.7626) {
        return -2.22997e-05 - c * 2.28312e-05;
    }
    if (c < -0.679963) {
        return ((c * 8.80099e-06 + 4.27897e-05) * c + 4.59834e-05) * c + 1.42501e-05;
    }
    return 0.0;
}

double GateModel::Limiter(double v) {
    const double m = std::abs(v);
    double y = 0.0;
    if (m <= 1.0) {
        y = m - (m * 0.10321397 + 0.13519187) * m * m;
    } else if (m <= 2.0) {
        y = ((m * 0.08575832 - 0.5605742) * m + 1.2838478) * m - 0.04743774;
    } else {
        y = (m - 1.5091578) / (m - 1.4908422);
    }
    return std::copysign(y, v);
}

GateModel GateModel::ForBus(double sampleRate) { return {busPot, busPreGain, busPostGain, sampleRate}; }

GateModel GateModel::ForHfChannel(double sampleRate) { return {hfPot, hfPreGain, hfPostGain, sampleRate}; }

} // namespace orphia_reference
