// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/BodeVocoderMono.h"

#include "dsp/RunChild.h"

#include <algorithm>
#include <cmath>

namespace Velmora::Processor {

namespace {

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
                      std::make_tuple("CarrierPreamp"), std::make_tuple("HFChannel"),
                      std::make_tuple()) {
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
        analysisOutputs[band] = buffers[AnalysisBand + band];
        analysisBands[band] = buffers[AnalysisBand + band];
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
            unvoicedMode = AdditionalValue(UnvoicedMode) == 0.0F ? 0 : 1;
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
    noiseGate.SetParameterValue(VCAGate::FcGateRelease, fixed ? fastRelease : AdditionalValue(NoiseGateRelease));
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

bool BodeVocoderMono::Process(dsp::ProcessContext& context) {
    RunProgramSide(context);
    RunNoise(context);
    RunCarrierSide(context);
    RunAnalysis(context);
    RunSynthesis(context);
    SumOutput(context.outputs[VocodedOut], context.numFrames);
    return true;
}

template <class M>
void BodeVocoderMono::RunWith(const dsp::ProcessContext& context, M& module,
                              std::initializer_list<const float*> inputs, std::initializer_list<float*> outputs) {
    auto child = context.ForChild(inputs.begin(), static_cast<u32>(inputs.size()), outputs.begin(),
                                  static_cast<u32>(outputs.size()));
    dsp::RunChild(module, child);
}

void BodeVocoderMono::RunProgramSide(const dsp::ProcessContext& context) {
    RunWith(context, Child<PreampChild>(), {context.inputs[ModulatorIn], context.inputs[ProgramLevelMod]},
            {context.outputs[ProgramOut]});
    RunWith(context, Child<PreampAnalyzerChild>(), {context.outputs[ProgramOut]}, {buffers[AnalyzedProgram]});
    RunWith(context, Child<DiscriminatorChild>(), {buffers[AnalyzedProgram]},
            {buffers[HissControl], buffers[BuzzControl]});
    if (context.numFrames > 0) {
        UpdateVoicedLight();
    }
    RunWith(context, Child<HFChild>(), {buffers[AnalyzedProgram], buffers[HissControl]}, {buffers[HFSignal]});
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

void BodeVocoderMono::RunNoise(const dsp::ProcessContext& context) {
    RunWith(context, Child<NoiseChild>(), {nullptr}, {buffers[NoiseBuffer]});
    noiseShaper.Process(buffers[NoiseBuffer], context.numFrames);
    RunWith(context, noiseGate, {buffers[NoiseBuffer], buffers[HissControl]}, {buffers[GatedNoise]});
}

void BodeVocoderMono::RunCarrierSide(const dsp::ProcessContext& context) {
    RunWith(context, Child<CarrierPreampChild>(), {context.inputs[CarrierIn], context.inputs[CarrierLevelMod]},
            {context.outputs[CarrierOut]});
    RunWith(context, carrierGate, {context.outputs[CarrierOut], buffers[AlwaysOpenControl]},
            {buffers[GatedCarrier]});
    RunWith(context, Child<BalanceChild>(),
            {buffers[GatedCarrier], buffers[GatedNoise], context.inputs[BalanceMod]},
            {buffers[CarrierBus], buffers[NoiseBus]});
}

void BodeVocoderMono::RunAnalysis(const dsp::ProcessContext& context) {
    const float* program = buffers[AnalyzedProgram];
    auto split = context.ForChild(&program, 1, analysisOutputs, bandCount);
    dsp::RunChild(Child<AnalyzerBankChild>(), split);

    PatchBay& patchBay = Child<PatchBayChild>();
    analysisBands[AnalyzerRectifiers::attackInput] = context.inputs[AttackMod];
    analysisBands[AnalyzerRectifiers::releaseInput] = context.inputs[ReleaseMod];
    auto follow = context.ForChild(analysisBands, bandCount + 2, patchBay.SourcePointers(), 2 * bandCount);
    dsp::RunChild(Child<RectifiersChild>(), follow);

    RunWith(context, patchBay, {context.inputs[SampleHoldMod]}, {});
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
    bands[SynthesizerFilterBank::shiftInput] = context.inputs[ShiftMod];
    bands[SynthesizerFilterBank::widthInput] = context.inputs[WidthMod];
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
