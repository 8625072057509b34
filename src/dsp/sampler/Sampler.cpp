// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/Sampler.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"
#include "dsp/math/Xorshift.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

constexpr float middleC = 261.62558F;
constexpr float octavesPerSemitone = 0.083333336F;
constexpr float slowest = 1.0F / 256.0F;
constexpr float fastest = 256.0F;
constexpr double smallestFactor = 0.1;
constexpr double largestFactor = 8.0;
constexpr float secondsPerBarAtOneBpm = 240.0F;
constexpr std::array bars = {0.03125F, 0.0625F, 0.125F, 0.25F, 0.5F, 1.0F, 2.0F, 4.0F, 8.0F};
/// The tone control moves once in so many frames.
constexpr u32 toneTick = 4;

/// What each slot has, in the order of SlotParameter.
std::vector<ParameterDeclaration> SlotDeclarations() {
    return {Declare::Linear("Transpose", -36.0F, 36.0F, 0.0F),
            Declare::Linear("Fine", -1.0F, 1.0F, 0.0F),
            Declare::Linear("RootNote", 0.01F, 20000.0F, middleC),
            Declare::Raw("TrimStart"),
            Declare::Raw("TrimStop", 1.0F),
            Declare::Raw("LoopStart"),
            Declare::Raw("LoopStop", 1.0F),
            Declare::Raw("LoopOn"),
            Declare::Switch("LoopType"),
            Declare::Raw("Reverse"),
            Declare::Switch("RepeatOnce"),
            Declare::Linear("Gain", -20.0F, 20.0F, 0.0F),
            Declare::Raw("Pan", 0.5F),
            Declare::Raw("CrossFade"),
            Declare::Switch("TimeStretchOn"),
            Declare::Linear("TimeStretchFactor", 0.125F, 8.0F, 1.0F),
            Declare::Choice("TimeStretchBars", bars.size(), 1.0F),
            Declare::Switch("TimeStretchSync")};
}

std::vector<ModuleParam> Records() {
    std::vector<ModuleParam> records = RecordsOf(
        {Declare::Raw("Start"), Declare::Linear("Freq", 0.01F, 20000.0F, middleC),
         Declare::Steps("Coarse", 25, -12.0F, 1.0F, 0.0F), Declare::Linear("Fine", -1.0F, 1.0F, 0.0F)});
    for (const ParameterDeclaration& declaration : SlotDeclarations()) {
        for (u32 slot = 1; slot <= Sampler::slotCount; ++slot) {
            records.push_back(declaration.Record());
            records.back().name = "Slot" + std::to_string(slot) + "_" + declaration.name;
        }
    }
    // Whether to reset when the sample that plays is replaced is for the engine alone, hence without a name.
    const std::vector<ModuleParam> last =
        RecordsOf({Declare::Choice("SelectedSlot", Sampler::slotCount), Declare::Raw("Stereo", 1.0F),
                   Declare::Raw("IsStereo"), Declare::Linear("MainVolume", -12.0F, 12.0F, 0.0F),
                   Declare::Raw("KeyTrack"), Declare::Switch("PhaseRetrigMode"), Declare::Raw(""),
                   Declare::Linear("Filter", -1.0F, 1.0F, 0.0F)});
    records.insert(records.end(), last.begin(), last.end());
    return records;
}

} // namespace

Sampler::Sampler(std::string moduleName)
    : UnitModule(std::move(moduleName), inputCount, 2, Records()), randomState(Xorshift::ClockSeed()) {}

void Sampler::SeedRandomStart(u32 seed) { randomState = Xorshift::UsableState(seed); }

void Sampler::OnInitialize(float rateHz, u32 maxBlockSize) {
    sampleRate = Within(rateHz, 1.0F, 1e7F);
    buffers.Allocate(BufferCount, maxBlockSize);
    levels.Initialize(sampleRate, maxBlockSize, BoundedDecibelsToGain(parameters[MainVolume].minValue));
    tone.Prepare(sampleRate, toneTick);
    toneControl.SetSampleRate(sampleRate);
    player.Initialize(sampleRate);
}

void Sampler::OnReset(bool /*hard*/) {
    player.Reset();
    toneControl.Clear();
}

void Sampler::SetSample(std::shared_ptr<const SampleData> sample, u32 index) {
    if (index >= slotCount) {
        return;
    }
    const bool isPlayable = sample != nullptr && sample->ChannelCount() > 0 && sample->Frames() > 0;
    if (!isPlayable) {
        samples[index].reset();
        current = static_cast<i32>(index) == current ? -1 : current;
        return;
    }
    sample.swap(samples[index]);
    if (static_cast<i32>(index) == current) {
        player.Replace(*samples[index]);
        UpdateStretch();
        if (Value(ResetOnReplace) > 0.5F) {
            Reset(false);
        }
    }
}

bool Sampler::UpdateParameters(ProcessContext& context) {
    const bool tempoMoves = std::isfinite(context.tempo) && context.tempo != tempo;
    if (!anyParameterChanged && !needsUpdate && !tempoMoves) {
        return true;
    }
    tempo = tempoMoves ? context.tempo : tempo;
    if (needsUpdate) {
        Prepare(context);
    } else if (current >= 0) {
        FollowChanges();
    }
    if (current >= 0 && (needsUpdate || tempoMoves || anyParameterChanged)) {
        UpdateStretch();
    }
    return true;
}

void Sampler::Prepare(const ProcessContext& context) {
    current = static_cast<i32>(ToIndex(Value(SelectedSlot), slotCount));
    if (!HasSample(CurrentIndex())) {
        current = -1;
        return;
    }
    player.Start(*samples[CurrentIndex()], ReadSettings(), StartControl(context));
    levels.Set(BoundedDecibelsToGain(SlotValue(SlotParameter::Gain)),
               ClampToUnit(SlotValue(SlotParameter::Pan)), VolumeTarget(context));
    tone.Set(ToneTarget(context));
    toneControl.SetControl(static_cast<float>(tone.current));
}

SamplePlayer::Settings Sampler::ReadSettings() {
    SamplePlayer::Settings settings;
    settings.controls = {SlotValue(SlotParameter::TrimStart), SlotValue(SlotParameter::TrimStop),
                         SlotValue(SlotParameter::LoopStart), SlotValue(SlotParameter::LoopStop),
                         SlotValue(SlotParameter::CrossFade)};
    settings.isReversed = SlotSwitch(SlotParameter::Reverse);
    settings.isLooped = SlotSwitch(SlotParameter::LoopOn);
    settings.turnsRound = SlotSwitch(SlotParameter::LoopType);
    settings.repeatsOnce = SlotSwitch(SlotParameter::RepeatOnce);
    return settings;
}

float Sampler::StartControl(const ProcessContext& context) {
    float position = parameters[Start].GetModulatedValue(context, 2);
    if (Value(PhaseRetrigMode) > 0.5F) {
        randomState = Xorshift::Next(randomState);
        position += static_cast<float>(randomState) * 0x1p-32F;
    }
    return position;
}

void Sampler::FollowChanges() {
    player.SetSettings(ReadSettings());
    if (SlotChanged(SlotParameter::LoopOn)) {
        player.SwitchLoop(SlotSwitch(SlotParameter::LoopOn));
    }
    if (SlotChanged(SlotParameter::Gain)) {
        levels.SetGain(BoundedDecibelsToGain(SlotValue(SlotParameter::Gain)));
    }
    if (SlotChanged(SlotParameter::Pan)) {
        levels.SetPan(ClampToUnit(SlotValue(SlotParameter::Pan)));
    }
}

void Sampler::UpdateStretch() {
    const bool isOn = SlotSwitch(SlotParameter::TimeStretchOn);
    double factor = 1.0;
    if (isOn) {
        factor =
            SlotSwitch(SlotParameter::TimeStretchSync)
                ? SyncedFactor()
                : static_cast<double>(HeldValue(SlotId(SlotParameter::TimeStretchFactor, CurrentIndex())));
    }
    player.SetStretch(isOn, Within(factor, smallestFactor, largestFactor));
}

/// The factor at which the trimmed part lasts the bars asked for.
double Sampler::SyncedFactor() {
    const SampleData& sample = *samples[CurrentIndex()];
    const double trimmed = static_cast<double>(ClampToUnit(SlotValue(SlotParameter::TrimStop))) -
                           static_cast<double>(ClampToUnit(SlotValue(SlotParameter::TrimStart)));
    const double duration = sample.Frames() / static_cast<double>(sample.SampleRate()) * trimmed;
    const float length = bars[ToIndex(SlotValue(SlotParameter::TimeStretchBars), bars.size())];
    const double target =
        static_cast<double>(secondsPerBarAtOneBpm) / static_cast<double>(tempo) * static_cast<double>(length);
    return duration > 0.0 && target > 0.0 ? duration / target : smallestFactor;
}

float Sampler::VolumeTarget(const ProcessContext& context) {
    return BoundedDecibelsToGain(parameters[MainVolume].GetModulatedValue(context, 3));
}

float Sampler::ToneTarget(const ProcessContext& context) {
    return Within(parameters[Filter].GetModulatedValue(context, 4), -1.0F, 1.0F);
}

/// Frames of the sample per frame.
float Sampler::Increment(const ProcessContext& context) {
    const float semitones = parameters[Coarse].GetModulatedValue(context, 0) +
                            parameters[Fine].GetModulatedValue(context, 1) +
                            SlotValue(SlotParameter::Transpose) + SlotValue(SlotParameter::Fine);
    const float ratio = std::exp2(semitones * octavesPerSemitone);
    const float base = Value(KeyTrack) > 0.5F ? Value(Freq) : middleC;
    const float rates = samples[CurrentIndex()]->SampleRate() / sampleRate;
    return Within(ratio * base / SlotValue(SlotParameter::RootNote) * rates, slowest, fastest);
}

bool Sampler::Process(ProcessContext& context) {
    if (current < 0) {
        return true;
    }
    levels.RenderRamps(VolumeTarget(context), context.numFrames);
    player.Render(Increment(context), buffers[LeftBuffer], buffers[RightBuffer], context.numFrames);
    RunToneControl(context);
    const bool isStereoOn = Value(Stereo) > 0.5F;
    WriteOutputs(context, isStereoOn);
    const bool differs = player.ChannelCount() > 1 || SlotValue(SlotParameter::Pan) != 0.5F;
    SetParameterNormalized(IsStereo, isStereoOn && differs ? 1.0F : 0.0F);
    return true;
}

void Sampler::RunToneControl(const ProcessContext& context) {
    float* left = buffers[LeftBuffer];
    float* right = buffers[RightBuffer];
    tone.SetTarget(ToneTarget(context));
    u32 done = 0;
    for (; done < context.numFrames && !tone.IsAtTarget(); done += toneTick) {
        toneControl.SetControl(tone.Next());
        toneControl.Run(left + done, right + done, toneTick);
    }
    toneControl.Run(left + done, right + done, context.numFrames - done);
    if (!toneControl.IsSound()) {
        toneControl.Clear();
        std::fill_n(left, context.numFrames, 0.0F);
        std::fill_n(right, context.numFrames, 0.0F);
    }
}

void Sampler::WriteOutputs(const ProcessContext& context, bool asStereo) {
    const u32 outputCount = std::min(context.numOutputs, asStereo ? 2U : 1U);
    for (u32 side = 0; side < outputCount; ++side) {
        float* out = context.outputs[side];
        if (out == nullptr) {
            continue;
        }
        if (asStereo) {
            levels.MixSide(buffers[side == 0 ? LeftBuffer : RightBuffer], side, out, context.numFrames);
        } else {
            levels.MixMono(buffers[LeftBuffer], buffers[RightBuffer], out, context.numFrames);
        }
    }
}

} // namespace Velmora::dsp
