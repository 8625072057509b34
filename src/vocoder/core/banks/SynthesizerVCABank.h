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

    /// Parts of a run for an owner that has the controls in tiles: the buses of the whole block first, and
    /// the gains of the controls, null for 1. ReadControls makes tiles of 32 control buffers.
    void SaturateBuses(const float* carrier, const float* noise, u32 numFrames);
    void SetGains(const float* gains);
    void ReadControls(const float* const* inputs, u32 offset, u32 frames, LaneTile& first,
                      LaneTile& second) const;
    /// What drives the synthesis bank from a frame of the block on.
    AmplifierDrive DriveAt(u32 offset, const LaneTile& first) {
        return {lanes, buffers[Carrier] + offset, buffers[Noise] + offset, first};
    }

    void UseKernels(const VocoderKernels& set) { kernels = &set; }

private:
    /// The saturated buses.
    enum Buffer : u32 { Carrier, Noise, BufferCount };
    dsp::BlockPool buffers;
    AmplifierLanes lanes;
    const VocoderKernels* kernels = &SelectVocoderKernels();
};

} // namespace Velmora::Processor
