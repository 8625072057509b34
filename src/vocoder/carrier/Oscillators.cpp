// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/Oscillators.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"
#include "vocoder/carrier/VoiceFrequency.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

using dsp::ADSR;
using dsp::ModuleParam;
using dsp::simd::Float4;

/// Oscillator 2 without key tracking: middle C.
constexpr float untrackedFrequency = 261.62558F;
constexpr float deviationAtFullAmount = 20000.0F;

std::vector<ModuleParam> OwnRecords() {
    namespace Declare = dsp::Declare;
    const auto coarse = [](const char* name) { return Declare::Steps(name, 121, -60.0F, 1.0F, -60.0F); };
    const auto volume = [](const char* name) { return Declare::Exponential(name, -70.0F, 0.0F, -3.0F); };
    const auto shape = [](const char* name) { return Declare::Linear(name, 0.0F, 0.6F); };
    return dsp::RecordsOf(
        {Declare::Linear("Frequency", lowestVoiceFrequency, highestVoiceFrequency),
         Declare::Choice("Osc1Waveform", VoiceOscillator::WaveformCount),
         Declare::Choice("Osc2Waveform", VoiceOscillator::WaveformCount), coarse("Osc1Coarse"),
         coarse("Osc2Coarse"), Declare::Linear("Osc2Fine", -1.0F, 1.0F), volume("Osc1Volume"),
         volume("Osc2Volume"), Declare::Switch("Osc2KeyTrack"), shape("Osc1Shape"), shape("Osc2Shape"),
         Declare::Switch("Sync"), Declare::Exponential("FMAmount", 0.0F, 1.0F, 4.0F)});
}

} // namespace

Oscillators::Oscillators(std::string moduleName)
    : ModuleContainer(std::move(moduleName), InputCount, outputCount, OwnRecords(), std::make_tuple()) {
    constexpr float shortest = 0.002F;
    constexpr float longest = 20.0F;
    ADSR& adsr = Envelope();
    adsr.FindParameter(ADSR::Attack)->Redeclare(dsp::Curve::Exponential, shortest, longest, 5.0F);
    adsr.FindParameter(ADSR::Release)->Redeclare(dsp::Curve::Exponential, shortest, longest, 4.0F);
    adsr.SetParameterNormalized(ADSR::Decay, 0.0F);
    adsr.SetParameterNormalized(ADSR::Sustain, 1.0F);
    adsr.SetParameterValue(ADSR::AttackCurve, 0.0F);
    adsr.SetParameterValue(ADSR::ReleaseCurve, -4.0F);
    adsr.SetParameterNormalized(ADSR::ControlRate, 0.0F);
}

void Oscillators::OnInitialize(float sampleRate, u32 maxBlockSize) {
    for (VoiceOscillator& oscillator : oscillators) {
        oscillator.Initialize(sampleRate, maxBlockSize);
    }
    silence = dsp::DecibelsToGain(additional.parameters[Osc1Volume].minValue);
    buffers.Allocate(BufferCount, VoiceKernels::PaddedFrames(maxBlockSize));
    envelope = buffers[EnvelopeBuffer];
    const VoiceBuffers shared = {.phase = buffers[PhaseBuffer],
                                 .increment = buffers[IncrementBuffer],
                                 .wrapFlag = buffers[WrapFlagBuffer],
                                 .samplesToWrap = buffers[SamplesToWrapBuffer],
                                 .samplesSinceWrap = buffers[SamplesSinceWrapBuffer],
                                 .frequencyModulation = buffers[FMBuffer],
                                 .drive = buffers[DriveBuffer]};
    blocks = {shared, shared};
    blocks[0].out = buffers[Osc1OutBuffer];
    blocks[1].out = buffers[Osc2OutBuffer];
    levels = {buffers[Osc1LevelBuffer], buffers[Osc2LevelBuffer]};
}

void Oscillators::OnReset(bool hard) {
    if (isSynced) {
        oscillators[0].SetStartPhase(oscillators[1].StartPhase());
    }
    for (VoiceOscillator& oscillator : oscillators) {
        oscillator.Reset(hard);
    }
}

void Oscillators::SeedNoise(u32 seed) {
    oscillators[0].SeedNoise(seed);
    oscillators[1].SeedNoise(seed + 1);
}

void Oscillators::SetSmoothDrive(bool on) {
    for (VoiceOscillator& oscillator : oscillators) {
        oscillator.SetSmoothDrive(on);
    }
}

float Oscillators::ModulatedValue(const dsp::ProcessContext& context, Additional index, Input input) {
    return additional.parameters[index].GetModulatedValue(context, input);
}

/// The knob stands on a whole semitone, that which is read there; what moves it glides.
float Oscillators::ModulatedCoarse(const dsp::ProcessContext& context, Additional index, Input input) {
    ModuleParam& coarse = additional.parameters[index];
    const float* modulation = context.ActiveModulation(input);
    const float offset = modulation != nullptr ? modulation[0] : 0.0F;
    const float position = dsp::ClampToUnit(coarse.ToNormalized(coarse.GetValue()) + offset);
    return coarse.minValue + (coarse.maxValue - coarse.minValue) * position;
}

bool Oscillators::IsPositionOn(Additional index, float threshold) {
    return additional.parameters[index].GetNormalized() > threshold;
}

bool Oscillators::UpdateParameters(dsp::ProcessContext& context) {
    // What did not move is not read again: with many voices the records are far from the caches.
    const u32 moved = watch.Changes(context, 0, InputCount);
    if (moved == 0 && !additional.anyParameterChanged) {
        return true;
    }
    if (moved != 0 || HasChangedBeyondFrequency()) {
        UpdateSound(context, moved);
    }
    const float played = AdditionalValue(Frequency);
    hertz[0] = ratios[0] * played;
    hertz[1] = (isTracking ? played : untrackedFrequency) * ratios[1];
    return true;
}

bool Oscillators::HasChangedBeyondFrequency() const {
    const auto& marks = additional.parameterChanged;
    static_assert(Frequency == 0);
    return std::any_of(marks.begin() + 1, marks.end(), [](u8 mark) { return mark != 0; });
}

void Oscillators::UpdateSound(const dsp::ProcessContext& context, u32 moved) {
    UpdateRatios(context, moved);
    UpdateWaveforms();
    UpdateLevels(context, moved);
    UpdateShapes(context, moved);
    UpdateSync();
    if (IsNew(FMAmount, FMAmountMod, moved)) {
        UpdateFM(context);
    }
}

bool Oscillators::IsNew(Additional index, Input input, u32 moved) const {
    return additional.parameterChanged[index] != 0 || (moved >> input & 1U) != 0;
}

void Oscillators::UpdateRatios(const dsp::ProcessContext& context, u32 moved) {
    const auto set = [this](u32 i, float wanted) {
        if (wanted != semitones[i]) {
            semitones[i] = wanted;
            ratios[i] = SemitonesToRatio(wanted);
        }
    };
    if (IsNew(Osc1Coarse, Osc1CoarseMod, moved)) {
        set(0, ModulatedCoarse(context, Osc1Coarse, Osc1CoarseMod));
    }
    if (IsNew(Osc2Coarse, Osc2CoarseMod, moved) || IsNew(Osc2Fine, Osc2FineMod, moved)) {
        set(1, ModulatedCoarse(context, Osc2Coarse, Osc2CoarseMod) +
                   ModulatedValue(context, Osc2Fine, Osc2FineMod));
    }
    isTracking = additional.parameters[Osc2KeyTrack].GetNormalized() >= 0.5F;
}

void Oscillators::UpdateLevels(const dsp::ProcessContext& context, u32 moved) {
    if (IsNew(Osc1Volume, Osc1VolumeMod, moved)) {
        oscillators[0].SetLevel(ModulatedValue(context, Osc1Volume, Osc1VolumeMod));
    }
    if (IsNew(Osc2Volume, Osc2VolumeMod, moved)) {
        oscillators[1].SetLevel(ModulatedValue(context, Osc2Volume, Osc2VolumeMod));
    }
}

void Oscillators::UpdateShapes(const dsp::ProcessContext& context, u32 moved) {
    if (IsNew(Osc1Shape, Osc1ShapeMod, moved)) {
        oscillators[0].SetShape(ModulatedValue(context, Osc1Shape, Osc1ShapeMod));
    }
    if (IsNew(Osc2Shape, Osc2ShapeMod, moved)) {
        oscillators[1].SetShape(ModulatedValue(context, Osc2Shape, Osc2ShapeMod));
    }
}

void Oscillators::UpdateWaveforms() {
    if (AdditionalChanged(Osc1Waveform) || AdditionalChanged(Osc2Waveform)) {
        oscillators[0].SetWaveform(static_cast<i32>(AdditionalValue(Osc1Waveform)));
        oscillators[1].SetWaveform(static_cast<i32>(AdditionalValue(Osc2Waveform)));
    }
}

void Oscillators::UpdateSync() {
    if (!AdditionalChanged(Sync)) {
        return;
    }
    isSynced = IsPositionOn(Sync, 0.5F);
    oscillators[1].SetSyncMaster(isSynced);
    oscillators[0].SetSyncSlave(isSynced);
}

void Oscillators::UpdateFM(const dsp::ProcessContext& context) {
    fmGain = dsp::ClampToUnit(ModulatedValue(context, FMAmount, FMAmountMod)) * deviationAtFullAmount;
    oscillators[0].SetFM(HasFM());
}

bool Oscillators::Process(dsp::ProcessContext& context) {
    if (context.numOutputs < outputCount) {
        return false;
    }
    const dsp::ModuleRun<Oscillators> alone{this, context};
    ProcessGroup({&alone, 1});
    return true;
}

void Oscillators::ProcessGroup(std::span<const dsp::ModuleRun<Oscillators>> runs) {
    for (const auto& [voice, context] : runs) {
        voice->Begin(context);
    }
    const auto play = [&runs](std::initializer_list<u32> indices) {
        RenderOscillators(indices, runs);
        for (const auto& [voice, context] : runs) {
            for (const u32 index : indices) {
                voice->FinishOscillator(index, context);
            }
        }
    };
    // The low-passes of both oscillators wait for themselves at the same time, where one run takes them all.
    // FM needs oscillator 2 finished.
    const bool oneRunTakesAll = 2 * runs.size() <= SawLowPass::mostJobs;
    if (!oneRunTakesAll ||
        std::any_of(runs.begin(), runs.end(), [](auto& run) { return run.module->HasFM(); })) {
        play({1});
        play({0});
    } else {
        play({1, 0});
    }
    for (const auto& [voice, context] : runs) {
        if (context.outputs[1] != context.outputs[0]) {
            std::copy_n(context.outputs[0], context.numFrames, context.outputs[1]);
        }
    }
}

void Oscillators::Begin(const dsp::ProcessContext& context) {
    if (needsUpdate) {
        oscillators[0].JumpToTargets();
        oscillators[1].JumpToTargets();
    }
    const u32 frames = context.numFrames;
    std::fill_n(context.outputs[0], frames, 0.0F);
    RunEnvelope(context);
    if (!isSteady) {
        oscillators[0].RenderLevel(levels[0], frames);
        oscillators[1].RenderLevel(levels[1], frames);
    }
}

void Oscillators::RenderOscillators(std::initializer_list<u32> indices,
                                    std::span<const dsp::ModuleRun<Oscillators>> runs) {
    std::array<SawLowPass::Job, SawLowPass::mostJobs> filters;
    u32 count = 0;
    const auto filter = [&] {
        SawLowPass::Run(std::span(filters).first(count), runs.front().context.numFrames);
        count = 0;
    };
    for (const auto& [voice, context] : runs) {
        for (const u32 index : indices) {
            VoiceOscillator& oscillator = voice->oscillators[index];
            oscillator.Render(context, voice->hertz[index], voice->blocks[index]);
            if (SawLowPass* lowPass = oscillator.LowPass()) {
                filters[count++] = {lowPass, voice->blocks[index].out};
            }
            if (count == filters.size()) {
                filter();
            }
        }
    }
    if (count != 0) {
        filter();
    }
}

void Oscillators::FinishOscillator(u32 index, const dsp::ProcessContext& context) {
    const u32 frames = context.numFrames;
    if (isSteady && oscillators[index].IsAudible(silence)) {
        oscillators[index].FinishInto(context.outputs[0], heldEnvelope, blocks[index], frames);
        return;
    }
    oscillators[index].Finish(blocks[index], frames);
    if (index == 1 && HasFM()) {
        RenderFM(frames);
    }
    AddOscillator(index, context.outputs[0], frames);
}

void Oscillators::RenderFM(u32 frames) {
    const VoiceBuffers& modulator = blocks[1];
    const Float4 gain(fmGain);
    for (u32 n = 0; n < frames; n += 4) {
        (Float4::load_aligned(modulator.out + n) * gain).store_aligned(modulator.frequencyModulation + n);
    }
}

void Oscillators::RunEnvelope(const dsp::ProcessContext& context) {
    constexpr u32 envelopeInputCount = 7;
    const float* inputs[envelopeInputCount] = {};
    inputs[ADSR::Attack] = context.InputOrNull(AttackMod);
    inputs[ADSR::Release] = context.InputOrNull(ReleaseMod);
    float* outputs[] = {envelope};
    const u32 inputCount = context.numInputs == 0 ? 0 : envelopeInputCount;
    dsp::ProcessContext child = context.ForChild(inputs, inputCount, outputs, 1);
    isSteady = false;
    if (!dsp::ChildRuns(Envelope(), child)) {
        return;
    }
    isSteady = Envelope().IsHeld() && LevelsAreSteady();
    if (isSteady) {
        heldEnvelope = Envelope().HeldLevel();
    } else {
        Envelope().Process(child);
    }
    dsp::FinishChild(Envelope());
}

/// With FM a waveform is needed by itself.
bool Oscillators::LevelsAreSteady() const {
    return !HasFM() && oscillators[0].IsLevelSteady() && oscillators[1].IsLevelSteady();
}

void Oscillators::AddOscillator(u32 index, float* out, u32 frames) {
    if (!oscillators[index].IsAudible(silence)) {
        return;
    }
    const float* waveform = blocks[index].out;
    const float* level = levels[index];
    for (u32 n = 0; n < frames; n += 4) {
        const Float4 sound = Float4::load_aligned(waveform + n) * Float4::load_aligned(level + n) *
                             Float4::load_aligned(envelope + n);
        (Float4::load_aligned(out + n) + sound).store_aligned(out + n);
    }
}

} // namespace Velmora::Processor
