// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/FirstOrderSection.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/SmootherLPF.h"

#include <string>

namespace Velmora::Processor {

/// Mixes the gated carrier and the gated noise onto the two buses of the synthesis amplifiers. Both are at
/// full level at the centre of the balance; each falls on its own side only.
///
/// Inputs: 0 carrier, 1 noise, 2 modulation of the balance. Outputs: 0 carrier bus, 1 noise bus. With
/// "NoiseMix" the noise rides the carrier bus and the noise bus is silent.
class NoiseCarrierBalance final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 2;
    enum Parameter : u32 { Balance, NoiseMix };

    explicit NoiseCarrierBalance(std::string moduleName = "NoiseCarrierBalance");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(NoiseCarrierBalance& left, dsp::ProcessContext& leftContext,
                            NoiseCarrierBalance& right, dsp::ProcessContext& rightContext);

private:
    void Finish(dsp::ProcessContext& context);

    dsp::FirstOrderSection carrierPath;
    dsp::FirstOrderSection noisePath;
    dsp::SmootherLPF balanceSmoother{0.1};
    bool mixed = true;
};

} // namespace Velmora::Processor
