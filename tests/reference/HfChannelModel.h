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
    HfChannelModel(const HfSettings& initial, double sampleRate);
    void BeginBlock(const HfSettings& settings, double gateAttackHz, double gateReleaseHz);
    double Step(double program, double hissControl);

private:
    GateModel gate;
    Biquad highPass1;
    Biquad highPass2;
    Biquad highPass3;
    Biquad lowPass;
    SmootherModel level;
    double highPassGain = 0.0;
    int mode = 0;
};

} // namespace orphia_reference
