// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/RectifierModel.h"

#include <cmath>

namespace orphia_reference {

namespace {

constexpr double envelopeScale = 0.0001327;
constexpr double supply = -15.0;

const OnePoleCircuit hissBuzzOnePole{Shape::LowPass, 249.99998};
const BiquadCircuit hissBuzzBiquad{Shape::LowPass, 636.4909, 0.7141428};

} // namespace

RectifierCircuit RectifierCircuit::LowestBand() {
    return {-2.501e-05,
            2.481e-05,
            0.000999001,
            40200.0,
            {Shape::LowPass, 56.535503},
            {Shape::LowPass, 48.621662, 0.6855655}};
}

RectifierCircuit RectifierCircuit::OtherBands() {
    return {-4.988e-05,
            4.994e-05,
            0.00049875112,
            20000.0,
            {Shape::LowPass, 249.99998},
            {Shape::LowPass, 306.4545, 0.6741998}};
}

double RectifierCircuit::SteadyVolts(double x) const {
    const double current = x > 0.0 ? x * gainPositive : x * gainNegative;
    return biasScale * supply - current * currentToVoltage;
}

RectifierFollowerModel::RectifierFollowerModel(const RectifierCircuit& parts, double sampleRate)
    : circuit(parts), rate(sampleRate) {
    onePole.Design(circuit.onePole, sampleRate);
    biquad.Design(circuit.biquad, sampleRate);
    SetTimes(0.001, 0.15);
}

void RectifierFollowerModel::SetTimes(double attackSeconds, double releaseSeconds) {
    follower.Prepare(attackSeconds, releaseSeconds, rate);
}

RectifierFollowerModel::Output RectifierFollowerModel::Step(double x) {
    const double u = x > 0.0 ? x * circuit.gainPositive : x * circuit.gainNegative;
    const double bias = (onePole.a1 + 1.0) * circuit.biasScale * supply;
    const double sum = (u * onePole.b0 + onePole.b1 * onePole.x1) * circuit.currentToVoltage;
    const double y = bias - (sum + onePole.a1 * onePole.y1);
    onePole.x1 = u;
    onePole.y1 = y;
    const double v = biquad.Step(y);
    const double direct = v > 0.0 ? v * envelopeScale : 0.0;
    return {follower.Step(direct), direct};
}

HissBuzzFollowerModel::HissBuzzFollowerModel(double sampleRate) {
    onePole.Design(hissBuzzOnePole, sampleRate);
    biquad.Design(hissBuzzBiquad, sampleRate);
}

double HissBuzzFollowerModel::Step(double x) {
    const double u = x > 0.0 ? x * -4.988e-05 : x * 4.994e-05;
    return biquad.Step(onePole.Step(u, -20000.0));
}

} // namespace orphia_reference
