// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/DiscriminatorModel.h"

#include <algorithm>
#include <cmath>

namespace orphia_reference {

namespace {

constexpr double rail = 15.0;
constexpr double deadBand = 0.0001;
constexpr double highBandGain = 2.0;
constexpr double lowBandGain = 1.5909;

const OnePoleCircuit balanceHighPass{Shape::HighPass, 49.998447};

} // namespace

DiscriminatorModel::DiscriminatorModel(double sampleRate)
    : highFollower(sampleRate), lowFollower(sampleRate) {
    highPass.Design(BiquadCircuit::FromFcAndQ(Shape::HighPass, 1860.4652, 0.72008), sampleRate);
    lowPass.Design(BiquadCircuit::FromFcAndQ(Shape::LowPass, 1833.142, 0.73082), sampleRate);
}

void DiscriminatorModel::BeginBlock(double v) {
    trim = (0.070484 - v * 0.140968) / (v * 0.047232 * (v - 1.0) - 1.0);
}

double DiscriminatorModel::Step(double x) {
    const double high = highFollower.Step(highPass.Step(x) * highBandGain);
    const double low = lowFollower.Step(lowPass.Step(x) * lowBandGain);
    const double difference = low + trim - high;
    return std::abs(difference) >= deadBand && difference < 0.0 ? -rail : rail;
}

BalanceModel::BalanceModel(double sampleRate) {
    carrierHighPass.Design(balanceHighPass, sampleRate);
    noiseHighPass.Design(balanceHighPass, sampleRate);
    smoother.Prepare(0.1, sampleRate);
}

void BalanceModel::BeginBlock(double balance, bool noiseMix) {
    if (first) {
        smoother.Set(balance);
        first = false;
    }
    smoother.SetTarget(balance);
    mixed = noiseMix;
}

BalanceModel::Buses BalanceModel::Step(double carrier, double noise) {
    const double b = smoother.Next();
    const double y = carrierHighPass.Step(std::clamp(2.0 * b, 0.0, 1.0) * carrier);
    const double z = noiseHighPass.Step(std::clamp(2.0 * (1.0 - b), 0.0, 1.0) * noise);
    return mixed ? Buses{y + z, 0.0} : Buses{y, z};
}

} // namespace orphia_reference
