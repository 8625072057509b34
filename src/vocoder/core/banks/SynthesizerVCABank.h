// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/core/kernels/VocoderKernels.h"

#include <string>

namespace Velmora::Processor {

/// The sixteen voltage-controlled amplifiers, of alternating polarity: neighbouring bands reach the sum in
/// opposite phase. An amplifier saturates the buses, then applies the controls of its band, so the distortion
/// depends on the level of the bus alone, and the bank computes it once per bus instead of once per band.
///
/// Inputs 0 to 15 the first controls of the bands, for the carrier, 16 to 31 the second, for the noise, then
/// the buses. 16 outputs.
class SynthesizerVCABank final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 0;
    enum Input : u32 { CarrierBus = 2 * bandCount, NoiseBus, InputCount };

    explicit SynthesizerVCABank(std::string moduleName = "SynthesizerVCABank");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(dsp::ProcessContext& /*context*/) override { return true; }
    bool Process(dsp::ProcessContext& context) override;

    void UseKernels(const VocoderKernels& set) { kernels = &set; }

private:
    /// The saturated buses.
    enum Buffer : u32 { Carrier, Noise, BufferCount };
    dsp::BlockPool buffers;
    const VocoderKernels* kernels = &SelectVocoderKernels();
};

} // namespace Velmora::Processor
