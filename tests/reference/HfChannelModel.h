// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Biquads.h"
#include "reference/SmootherModel.h"
#include "reference/VcaModel.h"
#include "reference/VocoderParameters.h"

namespace orphia_reference {

/// The path of the highest frequencies: two high-passes, a gate, a third high-pass, a low-pass.
struct HfChannelModel {
    /// The level is snapped to `initial.level`.
    HfChannelModel(const HfSettings& initial, double sampleRate, CoefficientMath math);
    void BeginBlock(const HfSettings& settings, double gateAttackHz, double gateReleaseHz);
    double Step(double program, double hissControl);

    GateModel gate;

    /// Up to the gate, level included.
    static Complex BeforeGate(const HfSettings& settings, double frequencyHz, double sampleRate);
    static Complex AfterGate(const HfSettings& settings, double frequencyHz, double sampleRate);
    /// The whole path for a small signal through the fully open gate.
    static Complex OpenResponse(const HfSettings& settings, double frequencyHz, double sampleRate);

private:
    Biquad highPass1;
    Biquad highPass2;
    Biquad highPass3;
    Biquad lowPass;
    SmootherModel level;
    double highPassGain = 0.0;
    int mode = 0;
    double rate;
    CoefficientMath coefficientMath;
};

} // namespace orphia_reference
