// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/FirstOrderSection.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/math/Decibels.h"
#include "dsp/oscillators/NoiseGenerator.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/core/PatchBay.h"
#include "vocoder/core/banks/AnalyzerFilterBank.h"
#include "vocoder/core/banks/AnalyzerRectifiers.h"
#include "vocoder/core/banks/SynthesizerFilterBank.h"
#include "vocoder/core/banks/SynthesizerVCABank.h"
#include "vocoder/core/gain/VCAGate.h"
#include "vocoder/core/preamps/CarrierPreamp.h"
#include "vocoder/core/preamps/Preamp.h"
#include "vocoder/core/preamps/PreampAnalyzer.h"
#include "vocoder/core/unvoiced/HFChannel.h"
#include "vocoder/core/unvoiced/HissBuzzDiscriminator.h"
#include "vocoder/core/unvoiced/NoiseCarrierBalance.h"
#include "vocoder/core/unvoiced/NoiseShaper.h"

namespace Velmora::Processor {

/// One channel of the vocoder core, modelled at circuit level: signals are volts of the modelled circuit,
/// control voltages swing between -15 and +15, and -15 opens.
///
/// Pins as in Input and Output, named as those of BodeVocoder.
class BodeVocoderMono final
    : public dsp::ModuleContainer<Preamp, PreampAnalyzer, AnalyzerFilterBank, AnalyzerRectifiers,
                                  SynthesizerVCABank, SynthesizerFilterBank, HissBuzzDiscriminator,
                                  NoiseCarrierBalance, dsp::NoiseGenerator, CarrierPreamp, HFChannel,
                                  PatchBay> {
public:
    enum Additional : u32 {
        NoiseLevel,
        NoiseGateAttack,
        NoiseGateRelease,
        HFAttack,
        HFRelease,
        BuzzSwitched,
        UnvoicedMode,
        AdditionalCount
    };
    enum Input : u32 {
        Carrier,
        Modulator,
        AttackModulation,
        ReleaseModulation,
        BalanceModulation,
        ShiftModulation,
        WidthModulation,
        CarrierLevelModulation,
        ProgramLevelModulation,
        SampleHoldModulation,
        InputCount
    };
    /// The two preamps' outputs serve as buffers between stages as well.
    enum Output : u32 { Vocoded, CarrierPreampOut, ProgramPreampOut, OutputCount };

    static constexpr u32 parameterCount = childParameterCount + AdditionalCount;

    explicit BodeVocoderMono(std::string moduleName = {});

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Two channels of equal block length, stage by stage: the scalar stages share vectors. The same samples
    /// as two calls of Process.
    static void ProcessPair(BodeVocoderMono& left, dsp::ProcessContext& leftContext, BodeVocoderMono& right,
                            dsp::ProcessContext& rightContext);

    /// What the panel shows.
    float CarrierOverload() { return Child<CarrierPreampChild>().overload.overloadValue; }
    float ProgramOverload() { return Child<PreampChild>().overload.overloadValue; }
    float BandMeter(u32 band) { return Child<RectifiersChild>().meterValues[band]; }
    float NoiseGateValue() const { return noiseGate.lastGate; }
    float VoicedLevel() const { return voicedLevel; }

    /// Makes the noise reproducible; otherwise its seed is the time of construction.
    void SeedNoise(u32 seed) { Child<NoiseChild>().Seed(seed); }
    /// Replaces the kernels of the banks and rectifiers, which are otherwise the widest available.
    void UseKernels(const VocoderKernels& set);

private:
    enum ChildIndex : std::size_t {
        PreampChild,
        PreampAnalyzerChild,
        AnalyzerBankChild,
        RectifiersChild,
        VcaBankChild,
        SynthesizerBankChild,
        DiscriminatorChild,
        BalanceChild,
        NoiseChild,
        CarrierPreampChild,
        HFChild,
        PatchBayChild
    };
    enum Buffer : u32 {
        NoiseBuffer,
        CarrierBus,
        NoiseBus,
        SynthesisBand,
        FilterSum = SynthesisBand + bandCount,
        HissControl,
        BuzzControl,
        AnalyzedProgram,
        HFSignal,
        GatedCarrier,
        GatedNoise,
        AlwaysOpenControl,
        BufferCount
    };

    float NoiseLevelGain() { return dsp::DecibelsToGain(AdditionalValue(NoiseLevel)); }
    void SetUnvoicedTimes();
    void SetVoicedTimes();

    /// One channel or two, each with its context.
    template <u32 count>
    struct ChannelSet;
    /// The buffers of a stage.
    template <u32 inputCount, u32 outputCount>
    struct Pins {
        const float* inputs[inputCount];
        float* outputs[outputCount];
    };

    template <u32 count>
    static void RunChannels(const ChannelSet<count>& set);
    template <u32 count>
    static void RunProgramSide(const ChannelSet<count>& set);
    template <u32 count>
    static void RunNoise(const ChannelSet<count>& set);
    template <u32 count>
    static void RunCarrierSide(const ChannelSet<count>& set);
    void UpdateVoicedLight();
    void RunAnalysis(const dsp::ProcessContext& context);
    void RunSynthesis(const dsp::ProcessContext& context);
    void SumOutput(float* out, u32 numFrames);

    VCAGate carrierGate{"VCAGate"};
    VCAGate noiseGate{"VCAGate"};
    dsp::SmootherLPF noiseLevelSmoother{0.1};
    dsp::SmootherLPF voicedAttackSmoother{0.005};
    dsp::SmootherLPF voicedReleaseSmoother{0.75};
    /// The value behind the "BuzzLED" light.
    float voicedLevel = 0.0F;
    NoiseShaper noiseShaper;
    dsp::FirstOrderSection dcBlocker;
    dsp::BlockPool buffers;
    float* synthesisOutputs[bandCount] = {};

    i32 unvoicedMode = 0;
    bool buzzSwitched = false;
};

} // namespace Velmora::Processor
