// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/core/banks/AnalyzerRectifiers.h"
#include "vocoder/core/banks/SynthesizerVCA.h"
#include "vocoder/core/kernels/VocoderKernels.h"

namespace Velmora::Processor {

/// The sixteen amplifiers, "VCA1" to "VCA16", of alternating polarity. The saturation is odd and depends on
/// the bus alone, so the bank computes it once per bus instead of once per band.
///
/// Inputs 0 to 15 the first controls of the bands, 16 to 31 the second, 32 the carrier bus, 33 the noise bus.
/// 16 outputs.
class SynthesizerVCABank final : public BandContainer<SynthesizerVCA> {
public:
    static constexpr u32 parameterCount = 0;
    static constexpr u32 carrierInput = 2 * bandCount;
    static constexpr u32 noiseInput = 2 * bandCount + 1;

    explicit SynthesizerVCABank(std::string moduleName = "SynthesizerVCABank");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    void UseKernels(const VocoderKernels& set) { kernels = &set; }

private:
    template <std::size_t... Indices>
    explicit SynthesizerVCABank(std::string moduleName, std::index_sequence<Indices...> indices);

    /// The saturated buses.
    enum Buffer : u32 { Carrier, Noise, BufferCount };
    dsp::BlockPool buffers;
    const VocoderKernels* kernels = &SelectVocoderKernels();
};

} // namespace Velmora::Processor
