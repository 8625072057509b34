// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/HfChannelModel.h"

namespace orphia_reference {

namespace {

constexpr double interstageGain = 0.8912;
constexpr double openControl = -15.0;

} // namespace

HfChannelModel::HfChannelModel(const HfSettings& initial, double sampleRate)
    : gate(GateModel::ForHfChannel(sampleRate)) {
    for (Biquad* section : {&highPass1, &highPass2, &highPass3}) {
        section->Design(BiquadCircuit::FromFcAndQ(Shape::HighPass, 5028.5923, 0.7102), sampleRate);
    }
    lowPass.Design(BiquadCircuit::FromFcAndQ(Shape::LowPass, 15005.0, 0.70711), sampleRate);
    level.Prepare(0.1, sampleRate);
    level.Set(initial.level);
}

void HfChannelModel::BeginBlock(const HfSettings& settings, double gateAttackHz, double gateReleaseHz) {
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

} // namespace orphia_reference
