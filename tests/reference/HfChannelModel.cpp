// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/HfChannelModel.h"

namespace orphia_reference {

namespace {

constexpr double interstageGain = 0.8912;
constexpr double openControl = -15.0;

BiquadCircuit HighPassOf(const HfSettings& s) {
    return BiquadCircuit::FromFcAndQ(Shape::HighPass, s.fcHighPass, s.qHighPass);
}

BiquadCircuit LowPassOf(const HfSettings& s) {
    return BiquadCircuit::FromFcAndQ(Shape::LowPass, s.fcLowPass, s.qLowPass);
}

} // namespace

HfChannelModel::HfChannelModel(const HfSettings& initial, double sampleRate, CoefficientMath math)
    : gate(GateModel::ForHfChannel(sampleRate, math)), rate(sampleRate), coefficientMath(math) {
    level.Prepare(0.1, sampleRate);
    level.Set(initial.level);
}

void HfChannelModel::BeginBlock(const HfSettings& settings, double gateAttackHz, double gateReleaseHz) {
    for (Biquad* section : {&highPass1, &highPass2, &highPass3}) {
        section->Design(HighPassOf(settings), rate, coefficientMath, false);
    }
    lowPass.Design(LowPassOf(settings), rate, coefficientMath, false);
    level.SetTarget(settings.level);
    highPassGain = settings.highPassGain;
    mode = settings.mode;
    gate.SetCorners(gateAttackHz, gateReleaseHz);
}

double HfChannelModel::Step(double program, double hissControl) {
    const double u = highPass1.Step(program, level.Next());
    const double highPassed = highPass2.Step(u) * interstageGain;
    const double gated = gate.Step(highPassed, mode == 0 ? hissControl : openControl);
    return lowPass.Step(highPass3.Step(gated, highPassGain));
}

Complex HfChannelModel::BeforeGate(const HfSettings& settings, double frequencyHz, double sampleRate) {
    const Complex section = HighPassOf(settings).Response(frequencyHz, sampleRate);
    return settings.level * interstageGain * section * section;
}

Complex HfChannelModel::AfterGate(const HfSettings& settings, double frequencyHz, double sampleRate) {
    return settings.highPassGain * HighPassOf(settings).Response(frequencyHz, sampleRate) *
           LowPassOf(settings).Response(frequencyHz, sampleRate);
}

Complex HfChannelModel::OpenResponse(const HfSettings& settings, double frequencyHz, double sampleRate) {
    return BeforeGate(settings, frequencyHz, sampleRate) * GateModel::HfOpenGain() *
           AfterGate(settings, frequencyHz, sampleRate);
}

} // namespace orphia_reference
