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

BiquadCircuit HighPassOf(const DiscriminatorSettings& s) {
    return BiquadCircuit::FromFcAndQ(Shape::HighPass, s.fcHighPass, s.qHighPass);
}

BiquadCircuit LowPassOf(const DiscriminatorSettings& s) {
    return BiquadCircuit::FromFcAndQ(Shape::LowPass, s.fcLowPass, s.qLowPass);
}

} // namespace

DiscriminatorModel::DiscriminatorModel(double sampleRate, CoefficientMath math)
    : highFollower(sampleRate, math), lowFollower(sampleRate, math), rate(sampleRate), coefficientMath(math) {
}

void DiscriminatorModel::BeginBlock(const DiscriminatorSettings& settings) {
    highPass.Design(HighPassOf(settings), rate, coefficientMath, false);
    lowPass.Design(LowPassOf(settings), rate, coefficientMath, false);
    trim = Trim(settings.trimmer);
}

double DiscriminatorModel::Step(double x) {
    highEnvelope = highFollower.Step(highPass.Step(x) * highBandGain);
    lowEnvelope = lowFollower.Step(lowPass.Step(x) * lowBandGain);
    difference = lowEnvelope + trim - highEnvelope;
    smallestMargin = std::min(smallestMargin, std::abs(difference + deadBand));
    return std::abs(difference) >= deadBand && difference < 0.0 ? -rail : rail;
}

double DiscriminatorModel::Trim(double v) {
    return (0.070484 - v * 0.140968) / (v * 0.047232 * (v - 1.0) - 1.0);
}

Complex DiscriminatorModel::HighBandResponse(const DiscriminatorSettings& settings, double frequencyHz,
                                             double sampleRate) {
    return highBandGain * HighPassOf(settings).Response(frequencyHz, sampleRate);
}

Complex DiscriminatorModel::LowBandResponse(const DiscriminatorSettings& settings, double frequencyHz,
                                            double sampleRate) {
    return lowBandGain * LowPassOf(settings).Response(frequencyHz, sampleRate);
}

BalanceModel::BalanceModel(double sampleRate, CoefficientMath math) {
    carrierHighPass.Design(balanceHighPass, sampleRate, math);
    noiseHighPass.Design(balanceHighPass, sampleRate, math);
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

Complex BalanceModel::Response(double frequencyHz, double sampleRate) {
    return balanceHighPass.Response(frequencyHz, sampleRate);
}

} // namespace orphia_reference
