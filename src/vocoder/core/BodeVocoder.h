// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "engine/ModuleCloner.h"
#include "vocoder/core/BodeVocoderMono.h"
#include "vocoder/wiring/Wiring.h"

namespace Velmora::Processor {

/// The stereo vocoder core: two channels, the equal-power mix of dry and wet, the panel lights and the
/// sixteen band meters.
///
/// Pins as in Input and Output; auxInputs 0, 1 are the modulator left and right. All outputs must be present;
/// a missing audio input is silence, a missing modulation is none.
///
/// Of its own parameters only "Wet" is an input; the others are written for the host to read.
class BodeVocoder final : public dsp::ModuleContainer<engine::ModuleCloner<BodeVocoderMono, 2, 0, 0>> {
public:
    static constexpr u32 channelCount = 2;
    using Input = Pins::Vocoder;
    using enum Pins::Vocoder;
    enum : u32 { InputCount = VocoderInputCount };
    /// The program preamps are the modulator as the dry path carries it.
    enum Output : u32 {
        MixLeft,
        MixRight,
        CarrierPreampLeft,
        CarrierPreampRight,
        ProgramPreampLeft,
        ProgramPreampRight,
        OutputCount
    };
    /// Behind those of the channels.
    enum Parameter : u32 {
        Wet,
        CarrierPreampOverloadLED,
        PreampOverloadLED,
        HissLED,
        BuzzLED,
        CVFB1,
        ParameterCount = CVFB1 + bandCount
    };
    static constexpr u32 parameterCount = childParameterCount + ParameterCount;
    static constexpr u32 ParameterId(Parameter parameter) { return childParameterCount + parameter; }

    explicit BodeVocoder(std::string moduleName = "BodeVocoder");

    bool SetParameterNormalized(u32 id, float value) override;
    bool SetParameterValue(u32 id, float value) override;
    /// What a channel sets itself, the corners of its banks for instance, is read as it sounds on the left.
    float GetParameterNormalized(u32 id) override;
    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Makes the noise of both channels reproducible, and different from each other. Otherwise the seed is
    /// the time of construction.
    void SeedNoise(u32 seed);
    void SeedChannelNoise(u32 channel, u32 seed) { Channel(channel).SeedNoise(seed); }
    /// Replaces the kernels of both channels, which are otherwise the widest available.
    void UseKernels(const VocoderKernels& set);

    /// Whether the last block found silence and everything at rest, so that nothing but the noise was run.
    bool Sleeps() const { return sleeps; }

private:
    static bool IsSilent(const dsp::ProcessContext& context);
    void StayAwake();
    void WatchSilence(const dsp::ProcessContext& context);
    void MixOutputs(const dsp::ProcessContext& context);
    void PublishLights();
    void Publish(u32 index, float normalized) { additional.parameters[index].SetNormalized(normalized); }
    BodeVocoderMono& Channel(u32 channel) { return Child<0>().Clone(channel); }

    dsp::SmootherLPF drySmoother{0.002};
    dsp::SmootherLPF wetSmoother{0.002};
    enum Buffer : u32 { DryGain, WetGain, BufferCount };
    dsp::BlockPool buffers;
    /// The last position of "Wet", and its gains.
    float wetPosition = -1.0F;
    float dryTarget = 1.0F;
    float wetTarget = 0.0F;
    u32 maxBlock = 0;
    /// Whole blocks of silence so far.
    u32 silentBlocks = 0;
    /// All was at rest when it was last looked at, and the time before.
    bool isAtRest = false;
    bool canSleep = false;
    bool sleeps = false;
};

} // namespace Velmora::Processor
