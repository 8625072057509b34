// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/FirstOrderSection.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "vocoder/core/gain/SmoothedGain.h"
#include "vocoder/core/preamps/OverloadDetector.h"

#include <string>

namespace Velmora::Processor {

/// Brings the carrier to the level of the vocoder's buses, through two first-order high-pass stages. The
/// second one inverts and clips at its supply; its capacitor sees the clipped voltage, so the clip sits
/// inside the recursion.
///
/// Inputs: 0 audio, 1 modulation of "CarrierLevel". Output: 0 the amplified carrier, within 13.5 V.
/// The carrier enters the core here, so faulty samples stop here: one that is not a number, infinite or
/// absurdly large counts as 0, as it would otherwise stay in every filter behind. A null input is silence.
class CarrierPreamp final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 1;
    enum Parameter : u32 { CarrierLevel };

    explicit CarrierPreamp(std::string moduleName = "CarrierPreamp");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(CarrierPreamp& left, dsp::ProcessContext& leftContext, CarrierPreamp& right,
                            dsp::ProcessContext& rightContext);

    /// Read by the owner after Process.
    OverloadDetector overload;

private:
    void Finish(float* block, u32 numFrames);

    dsp::FirstOrderSection stage1;
    dsp::FirstOrderSection stage2;
    DecibelGain levelGain;
    dsp::SmootherLPF gainSmoother{0.1};
};

} // namespace Velmora::Processor
