// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/BodeVocoderMono.h"

#include "dsp/framework/RunChild.h"
#include "vocoder/core/kernels/LaneTile.h"

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

std::vector<dsp::ModuleParam> Declare() {
    std::vector<dsp::ModuleParam> records = {
        dsp::ModuleParam::Mapped("NoiseLevel", 4, -24.0F, 24.0F, -3.0F),
        dsp::ModuleParam::Mapped("NoiseGateAttack", 1, 0.1F, 1600.0F, 1.0F),
        dsp::ModuleParam::Mapped("NoiseGateRelease", 1, 0.1F, 50.0F, 1.0F),
        dsp::ModuleParam::Mapped("HFAttack", 1, 0.1F, 1600.0F, 1.0F),
        dsp::ModuleParam::Mapped("HFRelease", 1, 0.1F, 50.0F, 1.0F),
        dsp::ModuleParam("BuzzSwitched"),
        dsp::ModuleParam::Stepped("UnvoicedMode", 2, 0.0F, 1.0F)};
    records[BodeVocoderMono::NoiseGateAttack].SetValue(40.5F);
    records[BodeVocoderMono::NoiseGateRelease].SetValue(1.95F);
    records[BodeVocoderMono::HFAttack].SetValue(37.7F);
    records[BodeVocoderMono::HFRelease].SetValue(3.43F);
    return records;
}

void SetUpGate(VCAGate& gate) {
    gate.SetParameterValue(VCAGate::Pot, gatePot);
    gate.preGain = gatePreGain;
    gate.postGain = gatePostGain;
}

} // namespace

BodeVocoderMono::BodeVocoderMono(std::string moduleName)
    : ModuleContainer(std::move(moduleName), InputCount, OutputCount, Declare(), std::make_tuple("Preamp"),
                      std::make_tuple("PreampAnalyzer"), std::make_tuple("AnalyzerFilterBank"),
                      std::make_tuple("AnalyzerRectifiers"), std::make_tuple("SynthesizerVCABank"),
                      std::make_tuple("SynthesizerFilterBank"), std::make_tuple("HissBuzzDiscriminator"),
                      std::make_tuple("NoiseCarrierBalance"), std::make_tuple("NoiseGenerator"),
                      std::make_tuple("CarrierPreamp"), std::make_tuple("HFChannel"), std::make_tuple()) {
    constexpr float white = 1.0F;
    Child<NoiseChild>().SetParameterValue(0, white);
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
}

void BodeVocoderMono::OnInitialize(float sampleRate, u32 maxBlockSize) {
    carrierGate.Initialize(sampleRate, maxBlockSize);
    noiseGate.Initialize(sampleRate, maxBlockSize);
    noiseLevelSmoother.Prepare(sampleRate, 1);
    voicedAttackSmoother.Prepare(sampleRate, maxBlockSize);
    voicedReleaseSmoother.Prepare(sampleRate, maxBlockSize);

    buffers.Allocate(BufferCount, dsp::RoundUpToFour(maxBlockSize));
    std::fill_n(buffers[AlwaysOpenControl], maxBlockSize, openVoltage);
    for (u32 band = 0; band < bandCount; ++band) {
        synthesisOutputs[band] = buffers[SynthesisBand + band];
    }

    noiseShaper.Prepare(sampleRate);
    dcBlocker.SetHighPass(std::tan(dcBlockerRate / sampleRate));
}

void BodeVocoderMono::OnReset(bool hard) {
    carrierGate.Reset(hard);
    noiseGate.Reset(hard);
    noiseLevelSmoother.Set(NoiseLevelGain());
    voicedLevel = 1.0F;
    voicedAttackSmoother.Set(1.0F);
    voicedReleaseSmoother.Set(1.0F);
    noiseShaper.Reset();
    dcBlocker.Reset();
}

bool BodeVocoderMono::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        if (AdditionalChanged(UnvoicedMode)) {
            // Cut to an integer; what is no number counts as 0.
            unvoicedMode = std::abs(AdditionalValue(UnvoicedMode)) >= 1.0F ? 1 : 0;
        }
        if (AdditionalChanged(BuzzSwitched)) {
            buzzSwitched = AdditionalValue(BuzzSwitched) > 0.5F;
        }
        if (AdditionalChanged(NoiseLevel)) {
            noiseLevelSmoother.SetTarget(NoiseLevelGain());
        }
    }
    SetUnvoicedTimes();
    SetVoicedTimes();
    return true;
}

void BodeVocoderMono::SetUnvoicedTimes() {
    const bool fixed = unvoicedMode == 0;
    HFChannel& hf = Child<HFChild>();
    noiseGate.SetParameterValue(VCAGate::FcGateAttack, fixed ? fastAttack : AdditionalValue(NoiseGateAttack));
    hf.SetParameterValue(HFChannel::AttackHF, fixed ? fastAttack : AdditionalValue(HFAttack));
    noiseGate.SetParameterValue(VCAGate::FcGateRelease,
                                fixed ? fastRelease : AdditionalValue(NoiseGateRelease));
    hf.SetParameterValue(HFChannel::ReleaseHF, fixed ? fastRelease : AdditionalValue(HFRelease));
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

template <u32 count>
struct BodeVocoderMono::ChannelSet {
    BodeVocoderMono* channels[count];
    const dsp::ProcessContext* contexts[count];

    template <class F>
    void ForEach(F&& f) const {
        for (u32 i = 0; i < count; ++i) {
            f(*channels[i], *contexts[i]);
        }
    }

    /// Runs a stage of each channel; stage(channel) finds it, pins(channel, context) its buffers.
    template <class Stage, class PinsOf>
    void Run(Stage&& stage, PinsOf&& pins) const {
        auto first = pins(*channels[0], *contexts[0]);
        dsp::ProcessContext firstContext = ContextOf(0, first);
        if constexpr (count == 1) {
            dsp::RunChild(stage(*channels[0]), firstContext);
        } else {
            auto second = pins(*channels[1], *contexts[1]);
            dsp::ProcessContext secondContext = ContextOf(1, second);
            dsp::RunPair(stage(*channels[0]), firstContext, stage(*channels[1]), secondContext);
        }
    }

private:
    template <u32 inputCount, u32 outputCount>
    dsp::ProcessContext ContextOf(u32 index, Pins<inputCount, outputCount>& pins) const {
        return contexts[index]->ForChild(pins.inputs, inputCount, pins.outputs, outputCount);
    }
};

bool BodeVocoderMono::Process(dsp::ProcessContext& context) {
    RunChannels(ChannelSet<1>{{this}, {&context}});
    return true;
}

void BodeVocoderMono::ProcessPair(BodeVocoderMono& left, dsp::ProcessContext& leftContext,
                                  BodeVocoderMono& right, dsp::ProcessContext& rightContext) {
    RunChannels(ChannelSet<2>{{&left, &right}, {&leftContext, &rightContext}});
}

template <u32 count>
void BodeVocoderMono::RunChannels(const ChannelSet<count>& set) {
    RunProgramSide(set);
    RunNoise(set);
    RunCarrierSide(set);
    set.ForEach([](BodeVocoderMono& channel, const Context& context) {
        channel.RunAnalysis(context);
        channel.RunSynthesis(context);
        channel.SumOutput(context.outputs[Vocoded], context.numFrames);
    });
}

template <u32 count>
void BodeVocoderMono::RunProgramSide(const ChannelSet<count>& set) {
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.Child<PreampChild>(); },
        [](BodeVocoderMono&, const Context& x) {
            return Pins<2, 1>{{x.inputs[Modulator], x.inputs[ProgramLevelModulation]},
                              {x.outputs[ProgramPreampOut]}};
        });
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.Child<PreampAnalyzerChild>(); },
        [](BodeVocoderMono& c, const Context& x) {
            return Pins<1, 1>{{x.outputs[ProgramPreampOut]}, {c.buffers[AnalyzedProgram]}};
        });
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.Child<DiscriminatorChild>(); },
        [](BodeVocoderMono& c, const Context&) {
            return Pins<1, 2>{{c.buffers[AnalyzedProgram]}, {c.buffers[HissControl], c.buffers[BuzzControl]}};
        });
    set.ForEach([](BodeVocoderMono& channel, const Context& context) {
        if (context.numFrames > 0) {
            channel.UpdateVoicedLight();
        }
    });
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.Child<HFChild>(); },
        [](BodeVocoderMono& c, const Context&) {
            return Pins<2, 1>{{c.buffers[AnalyzedProgram], c.buffers[HissControl]}, {c.buffers[HFSignal]}};
        });
}

void BodeVocoderMono::UpdateVoicedLight() {
    const float target = buffers[BuzzControl][0] < openThreshold ? 1.0F : 0.0F;
    const bool falls = target <= voicedLevel;
    dsp::SmootherLPF& running = falls ? voicedReleaseSmoother : voicedAttackSmoother;
    dsp::SmootherLPF& waiting = falls ? voicedAttackSmoother : voicedReleaseSmoother;
    running.SetTarget(target);
    voicedLevel = running.Next();
    waiting.Set(voicedLevel);
}

template <u32 count>
void BodeVocoderMono::RunNoise(const ChannelSet<count>& set) {
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.Child<NoiseChild>(); },
        [](BodeVocoderMono& c, const Context&) {
            return Pins<1, 1>{{nullptr}, {c.buffers[NoiseBuffer]}};
        });
    const u32 frames = set.contexts[0]->numFrames;
    BodeVocoderMono& first = *set.channels[0];
    if constexpr (count == 1) {
        first.noiseShaper.Process(first.buffers[NoiseBuffer], frames);
    } else {
        BodeVocoderMono& second = *set.channels[1];
        NoiseShaper::ProcessPair(first.noiseShaper, first.buffers[NoiseBuffer], second.noiseShaper,
                                 second.buffers[NoiseBuffer], frames);
    }
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.noiseGate; },
        [](BodeVocoderMono& c, const Context&) {
            return Pins<2, 1>{{c.buffers[NoiseBuffer], c.buffers[HissControl]}, {c.buffers[GatedNoise]}};
        });
}

template <u32 count>
void BodeVocoderMono::RunCarrierSide(const ChannelSet<count>& set) {
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.Child<CarrierPreampChild>(); },
        [](BodeVocoderMono&, const Context& x) {
            return Pins<2, 1>{{x.inputs[Carrier], x.inputs[CarrierLevelModulation]},
                              {x.outputs[CarrierPreampOut]}};
        });
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.carrierGate; },
        [](BodeVocoderMono& c, const Context& x) {
            return Pins<2, 1>{{x.outputs[CarrierPreampOut], c.buffers[AlwaysOpenControl]},
                              {c.buffers[GatedCarrier]}};
        });
    set.Run(
        [](BodeVocoderMono & c) -> auto& { return c.Child<BalanceChild>(); },
        [](BodeVocoderMono& c, const Context& x) {
            return Pins<3, 2>{{c.buffers[GatedCarrier], c.buffers[GatedNoise], x.inputs[BalanceModulation]},
                              {c.buffers[CarrierBus], c.buffers[NoiseBus]}};
        });
}

void BodeVocoderMono::RunAnalysis(const dsp::ProcessContext& context) {
    AnalyzerFilterBank& bank = Child<AnalyzerBankChild>();
    AnalyzerRectifiers& rectifiers = Child<RectifiersChild>();
    PatchBay& patchBay = Child<PatchBayChild>();
    // The bands go from the bank to the rectifiers as tiles: nobody else wants them.
    const float* modulations[bandCount + 2] = {};
    modulations[AnalyzerRectifiers::attackInput] = context.inputs[AttackModulation];
    modulations[AnalyzerRectifiers::releaseInput] = context.inputs[ReleaseModulation];
    float* const* controls = patchBay.SourcePointers();
    auto follow = context.ForChild(modulations, bandCount + 2, controls, 2 * bandCount);
    bank.BeginBlock(follow);
    rectifiers.UpdateParameters(follow);
    const float* program = buffers[AnalyzedProgram];
    LaneTile bands;
    for (u32 offset = 0; offset < context.numFrames; offset += LaneTile::maxFrames) {
        const u32 frames = std::min(LaneTile::maxFrames, context.numFrames - offset);
        bank.FilterTile(program + offset, frames, bands);
        rectifiers.FollowTile(bands, frames, controls, offset);
    }
    bank.FinishBlock();
    rectifiers.FinishBlock(controls, context.numFrames);

    const float* hold = context.inputs[SampleHoldModulation];
    auto route = context.ForChild(&hold, 1, nullptr, 0);
    dsp::RunChild(patchBay, route);
}

void BodeVocoderMono::RunSynthesis(const dsp::ProcessContext& context) {
    const float* controls[2 * bandCount + 2];
    std::copy_n(Child<PatchBayChild>().OutputPointers(), 2 * bandCount, controls);
    controls[SynthesizerVCABank::carrierInput] = buffers[CarrierBus];
    controls[SynthesizerVCABank::noiseInput] = buffers[NoiseBus];
    auto amplify = context.ForChild(controls, 2 * bandCount + 2, synthesisOutputs, bandCount);
    dsp::RunChild(Child<VcaBankChild>(), amplify);

    const float* bands[bandCount + 2];
    std::copy_n(synthesisOutputs, bandCount, bands);
    bands[SynthesizerFilterBank::shiftInput] = context.inputs[ShiftModulation];
    bands[SynthesizerFilterBank::widthInput] = context.inputs[WidthModulation];
    float* sum = buffers[FilterSum];
    auto filter = context.ForChild(bands, bandCount + 2, &sum, 1);
    dsp::RunChild(Child<SynthesizerBankChild>(), filter);
}

void BodeVocoderMono::SumOutput(float* out, u32 numFrames) {
    const float* hf = buffers[HFSignal];
    const float* filtered = buffers[FilterSum];
    dsp::FirstOrderSection blocker = dcBlocker;
    for (u32 n = 0; n < numFrames; ++n) {
        // The output amplifier inverts.
        const double u = -(static_cast<double>(hf[n]) + static_cast<double>(filtered[n]));
        out[n] = static_cast<float>(blocker.Tick(u));
    }
    blocker.Heal();
    dcBlocker = blocker;
}

} // namespace Velmora::Processor
