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
/// With "NoiseMix" the noise rides the carrier bus and the noise bus is silent.
class NoiseCarrierBalance final : public dsp::UnitModule {
public:
    enum Parameter : u32 { Balance, NoiseMix, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;
    enum Input : u32 { Carrier, Noise, BalanceModulation, InputCount };
    enum Output : u32 { CarrierBus, NoiseBus, OutputCount };

    explicit NoiseCarrierBalance(std::string moduleName = "NoiseCarrierBalance");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(NoiseCarrierBalance& left, dsp::ProcessContext& leftContext,
                            NoiseCarrierBalance& right, dsp::ProcessContext& rightContext);

    /// Whether silence leaves it as it is; noise before a factor of 0 is silence, too.
    bool IsAtRest() const {
        return balanceSmoother.IsAtTarget() && carrierPath.IsAtRest() && noisePath.IsAtRest();
    }

private:
    template <class... Channels>
    static void Run(const Channels&... channels);
    void Finish(const dsp::ProcessContext& context);

    dsp::FirstOrderSection carrierPath;
    dsp::FirstOrderSection noisePath;
    dsp::SmootherLPF balanceSmoother{0.1};
    bool mixed = true;
};

} // namespace Velmora::Processor
