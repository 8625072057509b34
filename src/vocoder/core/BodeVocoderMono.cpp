// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/BodeVocoderMono.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"

#include <algorithm>
#include <cmath>

namespace Velmora::Processor {

namespace {

using Context = dsp::ProcessContext;

constexpr float gatePot = 0.05178F;
constexpr float gatePreGain = 12.019231F;
constexpr float gatePostGain = 20000.0F;
// Corners in Hz of the gates when the unvoiced mode does not set them.
constexpr float fastAttack = 1591.5494F;
constexpr float fastRelease = 17.683884F;
constexpr float openVoltage = -15.0F;
/// A control below this opens a gate in full.
constexpr float openThreshold = -1.7626F;
/// DC blocker: half the corner of 1.6 Hz in rad/s.
constexpr double dcBlockerRate = 5.0265484;

void SetUpGate(VCAGate& gate) {
    gate.SetParameterValue(VCAGate::Pot, gatePot);
    gate.preGain = gatePreGain;
    gate.postGain = gatePostGain;
}

/// A stage of one channel: a module with the buffers of its block.
template <class M, std::size_t inputCount, std::size_t outputCount>
struct Stage {
    M& module;
    const Context& parent;
    const float* inputs[inputCount];
    float* outputs[outputCount];

    Context BlockContext() { return parent.ForChild(inputs, inputCount, outputs, outputCount); }
};

template <class M, std::size_t inputCount, std::size_t outputCount>
Stage<M, inputCount, outputCount> MakeStage(M& module, const Context& parent,
                                            const float* const (&inputs)[inputCount],
                                            float* const (&outputs)[outputCount]) {
    Stage<M, inputCount, outputCount> stage{module, parent, {}, {}};
    std::copy_n(inputs, inputCount, stage.inputs);
    std::copy_n(outputs, outputCount, stage.outputs);
    return stage;
}

/// Runs a stage of one channel, or the same stage of two side by side.
template <class S>
void Run(S stage) {
    Context context = stage.BlockContext();
    dsp::RunChild(stage.module, context);
}
template <class S>
void Run(S left, S right) {
    Context leftContext = left.BlockContext();
    Context rightContext = right.BlockContext();
    dsp::RunPair(left.module, leftContext, right.module, rightContext);
}

} // namespace

void BodeVocoderMono::Signals::TakeFrom(dsp::BlockPool& pool) {
    u32 next = 0;
    for (float** signal : {&analysedProgram, &hissControl, &buzzControl, &highFrequencies, &noise,
                           &gatedNoise, &alwaysOpen, &gatedCarrier, &carrierBus, &noiseBus, &bandSum}) {
        *signal = pool[next++];
    }
}

BodeVocoderMono::BodeVocoderMono(std::string moduleName)
    : ModuleContainer(
          std::move(moduleName), InputCount, OutputCount,
          dsp::RecordsOf({dsp::Declare::Exponential("NoiseLevel", -24.0F, 24.0F, -3.0F),
                          dsp::Declare::Linear("NoiseGateAttack", 0.1F, 1600.0F, 40.5F),
                          dsp::Declare::Linear("NoiseGateRelease", 0.1F, 50.0F, 1.95F),
                          dsp::Declare::Linear("HFAttack", 0.1F, 1600.0F, 37.7F),
                          dsp::Declare::Linear("HFRelease", 0.1F, 50.0F, 3.43F),
                          dsp::Declare::Raw("BuzzSwitched"), dsp::Declare::Choice("UnvoicedMode", 2)}),
          std::make_tuple("Preamp"), std::make_tuple("PreampAnalyzer"), std::make_tuple("AnalyzerFilterBank"),
          std::make_tuple("AnalyzerRectifiers"), std::make_tuple("SynthesizerVCABank"),
          std::make_tuple("SynthesizerFilterBank"), std::make_tuple("HissBuzzDiscriminator"),
          std::make_tuple("NoiseCarrierBalance"), std::make_tuple("NoiseGenerator"),
          std::make_tuple("CarrierPreamp"), std::make_tuple("HFChannel"), std::make_tuple()) {
    Child<NoiseChild>().SetParameterValue(0, static_cast<float>(dsp::NoiseGenerator::White));
    SetUpGate(carrierGate);
    SetUpGate(noiseGate);
    carrierGate.SetParameterValue(VCAGate::FcGateAttack, fastAttack);
    carrierGate.SetParameterValue(VCAGate::FcGateRelease, fastRelease);
}

void BodeVocoderMono::UseKernels(const VocoderKernels& set) {
    Child<AnalyzerBankChild>().UseKernels(set);
    Child<RectifiersChild>().UseKernels(set);
    Child<VcaBankChild>().UseKernels(set);
    Child<SynthesizerBankChild>().UseKernels(set);
    Child<DiscriminatorChild>().UseKernels(set);
    Child<HFChild>().UseKernels(set);
    carrierGate.UseKernels(set);
    noiseGate.UseKernels(set);
}

void BodeVocoderMono::OnInitialize(float sampleRate, u32 maxBlockSize) {
    carrierGate.Initialize(sampleRate, maxBlockSize);
    noiseGate.Initialize(sampleRate, maxBlockSize);
    voicedAttackSmoother.Prepare(sampleRate, maxBlockSize);
    voicedReleaseSmoother.Prepare(sampleRate, maxBlockSize);
    buffers.Allocate(Signals::count, dsp::RoundUpToFour(maxBlockSize));
    signals.TakeFrom(buffers);
    std::fill_n(signals.alwaysOpen, maxBlockSize, openVoltage);
    noiseShaper.Prepare(sampleRate);
    bandsRest = false;
    dcBlocker.SetHighPass(std::tan(dcBlockerRate / sampleRate));
}

void BodeVocoderMono::OnReset(bool hard) {
    carrierGate.Reset(hard);
    noiseGate.Reset(hard);
    voicedLevel = 1.0F;
    voicedAttackSmoother.Set(1.0F);
    voicedReleaseSmoother.Set(1.0F);
    noiseShaper.Reset();
    dcBlocker.Reset();
    bandsRest = false;
}

bool BodeVocoderMono::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (AdditionalChanged(UnvoicedMode)) {
        // What is below 1, or no number, counts as 0.
        unvoicedTimesSet = std::abs(AdditionalValue(UnvoicedMode)) >= 1.0F;
    }
    SetUnvoicedTimes();
    SetVoicedTimes();
    return true;
}

void BodeVocoderMono::SetUnvoicedTimes() {
    const auto set = [this](dsp::UnitModule& module, u32 id, Parameter parameter, float fixed) {
        const float corner = unvoicedTimesSet ? AdditionalValue(parameter) : fixed;
        if (module.FindParameter(id)->PeekValue() != corner) {
            module.SetParameterValue(id, corner);
        }
    };
    HFChannel& hf = Child<HFChild>();
    set(noiseGate, VCAGate::FcGateAttack, NoiseGateAttack, fastAttack);
    set(noiseGate, VCAGate::FcGateRelease, NoiseGateRelease, fastRelease);
    set(hf, HFChannel::AttackHF, HFAttack, fastAttack);
    set(hf, HFChannel::ReleaseHF, HFRelease, fastRelease);
}

void BodeVocoderMono::SetVoicedTimes() {
    const AnalyzerRectifiers& rectifiers = Child<RectifiersChild>();
    const auto follow = [](dsp::SmootherLPF& smoother, float seconds) {
        const double time = RectifierFollower::SmootherTime(seconds);
        if (smoother.time != time) {
            smoother.time = time;
            smoother.Prepare();
        }
    };
    follow(voicedAttackSmoother, rectifiers.attack);
    follow(voicedReleaseSmoother, rectifiers.release);
}

/// One channel and its block. The stages by name, in the order in which the signal passes them.
struct BodeVocoderMono::ChannelBlock {
    BodeVocoderMono& channel;
    const Context& context;
    const Signals& signals = channel.signals;
    /// Of the program preamp, and of the carrier preamp.
    float* program = context.outputs[ProgramPreampOut];
    float* carrier = context.outputs[CarrierPreampOut];

    const float* Input(u32 pin) const { return context.inputs[pin]; }
    template <std::size_t child>
    auto& Module() const {
        return channel.Child<child>();
    }

    auto AmplifyProgram() const {
        return MakeStage(Module<PreampChild>(), context, {Input(Modulator), Input(ProgramLevelModulation)},
                         {program});
    }
    auto HighPassProgram() const {
        return MakeStage(Module<PreampAnalyzerChild>(), context, {program}, {signals.analysedProgram});
    }
    auto TellHissFromBuzz() const {
        return MakeStage(Module<DiscriminatorChild>(), context, {signals.analysedProgram},
                         {signals.hissControl, signals.buzzControl});
    }
    auto PassHighFrequencies() const {
        return MakeStage(Module<HFChild>(), context, {signals.analysedProgram, signals.hissControl},
                         {signals.highFrequencies});
    }
    auto MakeNoise() const { return MakeStage(Module<NoiseChild>(), context, {nullptr}, {signals.noise}); }
    NoiseShaper::Channel NoiseToShape() const { return {channel.noiseShaper, signals.noise}; }
    auto GateNoise() const {
        return MakeStage(channel.noiseGate, context, {signals.noise, signals.hissControl},
                         {signals.gatedNoise});
    }
    auto AmplifyCarrier() const {
        return MakeStage(Module<CarrierPreampChild>(), context,
                         {Input(Carrier), Input(CarrierLevelModulation)}, {carrier});
    }
    auto GateCarrier() const {
        return MakeStage(channel.carrierGate, context, {carrier, signals.alwaysOpen}, {signals.gatedCarrier});
    }
    auto BalanceBuses() const {
        return MakeStage(Module<BalanceChild>(), context,
                         {signals.gatedCarrier, signals.gatedNoise, Input(BalanceModulation)},
                         {signals.carrierBus, signals.noiseBus});
    }
    void StepVoicedLight() const {
        if (context.numFrames > 0) {
            channel.StepVoicedLight();
        }
    }
    void RunBands() const;
};

template <class... Channels>
void BodeVocoderMono::RunChannels(const Channels&... channels) {
    // The program.
    Run(channels.AmplifyProgram()...);
    Run(channels.HighPassProgram()...);
    Run(channels.TellHissFromBuzz()...);
    (channels.StepVoicedLight(), ...);
    Run(channels.PassHighFrequencies()...);
    // The noise.
    RunNoise(channels...);
    Run(channels.GateNoise()...);
    // The carrier.
    Run(channels.AmplifyCarrier()...);
    Run(channels.GateCarrier()...);
    Run(channels.BalanceBuses()...);
    // The bands of one channel fill the vectors by themselves.
    (channels.RunBands(), ...);
    SumOutputs(channels...);
}

template <class... Channels>
void BodeVocoderMono::RunNoise(const Channels&... channels) {
    Run(channels.MakeNoise()...);
    NoiseShaper::Run(dsp::FramesOf(channels...), channels.NoiseToShape()...);
}

bool BodeVocoderMono::Process(dsp::ProcessContext& context) {
    RunChannels(ChannelBlock{*this, context});
    return true;
}

void BodeVocoderMono::ProcessPair(BodeVocoderMono& left, dsp::ProcessContext& leftContext,
                                  BodeVocoderMono& right, dsp::ProcessContext& rightContext) {
    RunChannels(ChannelBlock{left, leftContext}, ChannelBlock{right, rightContext});
}

bool BodeVocoderMono::IsAtRest() {
    // The decision of silence.
    const float hissControl = signals.hissControl[0];
    return bandsRest && Child<PreampChild>().IsAtRest() && Child<PreampAnalyzerChild>().IsAtRest() &&
           Child<DiscriminatorChild>().IsAtRest() && Child<HFChild>().IsAtRest(hissControl) &&
           Child<CarrierPreampChild>().IsAtRest() && Child<BalanceChild>().IsAtRest() &&
           noiseGate.IsAtRest(hissControl) && carrierGate.IsAtRest(openVoltage) && dcBlocker.IsAtRest() &&
           voicedAttackSmoother.IsAtTarget() && voicedReleaseSmoother.IsAtTarget();
}

void BodeVocoderMono::PassSilence(BodeVocoderMono& left, dsp::ProcessContext& leftContext,
                                  BodeVocoderMono& right, dsp::ProcessContext& rightContext) {
    RunNoise(ChannelBlock{left, leftContext}, ChannelBlock{right, rightContext});
    for (const Context* context : {&leftContext, &rightContext}) {
        for (u32 output = 0; output < OutputCount; ++output) {
            std::fill_n(context->outputs[output], context->numFrames, 0.0F);
        }
    }
}

void BodeVocoderMono::StepVoicedLight() {
    const float target = signals.buzzControl[0] < openThreshold ? 1.0F : 0.0F;
    const bool falls = target <= voicedLevel;
    dsp::SmootherLPF& running = falls ? voicedReleaseSmoother : voicedAttackSmoother;
    dsp::SmootherLPF& waiting = falls ? voicedAttackSmoother : voicedReleaseSmoother;
    running.SetTarget(target);
    voicedLevel = running.Next();
    waiting.Set(voicedLevel);
}

void BodeVocoderMono::ChannelBlock::RunBands() const {
    const BandChain chain = {Module<AnalyzerBankChild>(),    Module<RectifiersChild>(),
                             Module<PatchBayChild>(),        Module<VcaBankChild>(),
                             Module<SynthesizerBankChild>(), channel.bandsRest};
    chain.Run({.context = context,
               .program = signals.analysedProgram,
               .carrierBus = signals.carrierBus,
               .noiseBus = signals.noiseBus,
               .attackModulation = Input(AttackModulation),
               .releaseModulation = Input(ReleaseModulation),
               .holdModulation = Input(SampleHoldModulation),
               .shiftModulation = Input(ShiftModulation),
               .widthModulation = Input(WidthModulation),
               .sum = signals.bandSum});
}

template <class... Channels>
void BodeVocoderMono::SumOutputs(const Channels&... channels) {
    auto blocker = dsp::Join(channels.channel.dcBlocker...);
    const auto high = dsp::ReadFrom(static_cast<const float*>(channels.signals.highFrequencies)...);
    const auto bands = dsp::ReadFrom(static_cast<const float*>(channels.signals.bandSum)...);
    const auto output = dsp::WriteTo(channels.context.outputs[Vocoded]...);
    for (u32 n = 0; n < dsp::FramesOf(channels...); n += 4) {
        auto highQuad = high.Load(n);
        auto bandQuad = bands.Load(n);
        // The output amplifier inverts.
        dsp::StepFrames(highQuad, bandQuad, [&](auto& x, auto& y) { x = blocker.Tick(-(x + y)); });
        output.Store(n, highQuad);
    }
    dsp::SplitState(blocker, channels.channel.dcBlocker...);
    (channels.channel.dcBlocker.Heal(), ...);
}

} // namespace Velmora::Processor
