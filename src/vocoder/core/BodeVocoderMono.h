// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/FirstOrderSection.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/oscillators/NoiseGenerator.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/core/BandChain.h"
#include "vocoder/core/gain/VCAGate.h"
#include "vocoder/core/preamps/Preamps.h"
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
    /// Behind those of the stages. "NoiseLevel" and "BuzzSwitched" are kept for hosts and presets: the
    /// circuit settles the level of the noise by the constants of its shaping.
    enum Parameter : u32 {
        NoiseLevel,
        NoiseGateAttack,
        NoiseGateRelease,
        HFAttack,
        HFRelease,
        BuzzSwitched,
        UnvoicedMode,
        ParameterCount
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

    static constexpr u32 parameterCount = childParameterCount + ParameterCount;

    explicit BodeVocoderMono(std::string moduleName = {});

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Two channels of equal block length, stage by stage: the scalar stages share vectors. The same samples
    /// as two calls of Process.
    static void ProcessPair(BodeVocoderMono& left, dsp::ProcessContext& leftContext, BodeVocoderMono& right,
                            dsp::ProcessContext& rightContext);

    /// Whether a block of silence, at equal parameters and without modulations, changes nothing but the
    /// noise.
    bool IsAtRest();
    /// Such a block of both channels.
    static void PassSilence(BodeVocoderMono& left, dsp::ProcessContext& leftContext, BodeVocoderMono& right,
                            dsp::ProcessContext& rightContext);

    /// What the panel shows.
    float CarrierOverload() { return Child<CarrierPreampChild>().overload.overloadValue; }
    float ProgramOverload() { return Child<PreampChild>().overload.overloadValue; }
    float BandMeter(u32 band) { return Child<RectifiersChild>().meterValues[band]; }
    float NoiseGateValue() const { return noiseGate.lastGate; }
    float VoicedLevel() const { return voicedLevel; }

    /// Makes the noise reproducible; otherwise its seed is the time of construction.
    void SeedNoise(u32 seed) { Child<NoiseChild>().Seed(seed); }
    /// The other channel, which runs first and mostly has the same band plan.
    void ShareTuning(BodeVocoderMono& other) {
        Child<SynthesizerBankChild>().ShareTuning(other.Child<SynthesizerBankChild>());
    }
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
    /// The signals between the stages, a block of each, in the order in which they arise.
    struct Signals {
        float* analysedProgram;
        /// +15 V for voiced and -15 V for unvoiced; the buzz control is its negation.
        float* hissControl;
        float* buzzControl;
        float* highFrequencies;
        float* noise;
        float* gatedNoise;
        /// A control that holds a gate open.
        float* alwaysOpen;
        float* gatedCarrier;
        float* carrierBus;
        float* noiseBus;
        float* bandSum;

        static constexpr u32 count = 11;
        void TakeFrom(dsp::BlockPool& pool);
    };

    struct ChannelBlock;

    template <class... Channels>
    static void RunChannels(const Channels&... channels);
    template <class... Channels>
    static void RunNoise(const Channels&... channels);
    template <class... Channels>
    static void SumOutputs(const Channels&... channels);
    void SetUnvoicedTimes();
    void SetVoicedTimes();
    void StepVoicedLight();

    VCAGate carrierGate{"VCAGate"};
    VCAGate noiseGate{"VCAGate"};
    dsp::SmootherLPF voicedAttackSmoother{0.005};
    dsp::SmootherLPF voicedReleaseSmoother{0.75};
    /// The value behind the "BuzzLED" light.
    float voicedLevel = 0.0F;
    NoiseShaper noiseShaper;
    dsp::FirstOrderSection dcBlocker;
    dsp::BlockPool buffers;
    Signals signals{};
    /// The gates' corners are those of the parameters.
    bool unvoicedTimesSet = false;
    /// What BandChain keeps.
    bool bandsRest = false;
};

} // namespace Velmora::Processor
