// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/Simpler.h"

#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"
#include "dsp/math/Xorshift.h"

#include <algorithm>
#include <cmath>
#include <utility>

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

} // namespace

template <u32 slotCount, u32 voiceCount>
Simpler<slotCount, voiceCount>::Simpler(std::string moduleName)
    : UnitModule(std::move(moduleName), inputCount, 2, SimplerRecords(slotCount)),
      randomState(Xorshift::ClockSeed()) {}

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::SeedRandomStart(u32 seed) {
    randomState = Xorshift::UsableState(seed);
}

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::OnInitialize(float rateHz, u32 maxBlockSize) {
    sampleRate = Within(rateHz, 1.0F, 1e7F);
    buffers.Allocate(BufferCount, maxBlockSize);
    mixer.Initialize(sampleRate, maxBlockSize, BoundedDecibelsToGain(parameters[mainVolume].minValue));
    tone.Prepare(sampleRate, toneTick);
    toneControl.SetSampleRate(sampleRate);
    player.Initialize(sampleRate);
}

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::OnReset(bool /*hard*/) {
    player.Reset();
    toneControl.Clear();
}

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::SetSample(std::shared_ptr<const SampleData> sample, u32 index) {
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
        if (Value(resetOnReplace) > 0.5F) {
            Reset(false);
        }
    }
}

template <u32 slotCount, u32 voiceCount>
float Simpler<slotCount, voiceCount>::ReadSample(const float* channelData, double position) {
    return channelData != nullptr ? SimplerReader::Interpolate(channelData, position) : 0.0F;
}

template <u32 slotCount, u32 voiceCount>
bool Simpler<slotCount, voiceCount>::UpdateParameters(ProcessContext& context) {
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

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::Prepare(const ProcessContext& context) {
    current = static_cast<i32>(ToIndex(Value(selectedSlot), slotCount));
    if (!HasSample(CurrentIndex())) {
        current = -1;
        return;
    }
    player.Start(*samples[CurrentIndex()], ReadSettings(), StartControl(context));
    mixer.Set(BoundedDecibelsToGain(SlotValue(SlotParameter::Gain)),
              ClampToUnit(SlotValue(SlotParameter::Pan)), VolumeTarget(context));
    tone.Set(ToneTarget(context));
    toneControl.SetControl(static_cast<float>(tone.current));
}

template <u32 slotCount, u32 voiceCount>
SimplerPlayer::Settings Simpler<slotCount, voiceCount>::ReadSettings() {
    SimplerPlayer::Settings settings;
    settings.controls = {SlotValue(SlotParameter::TrimStart), SlotValue(SlotParameter::TrimStop),
                         SlotValue(SlotParameter::LoopStart), SlotValue(SlotParameter::LoopStop),
                         SlotValue(SlotParameter::CrossFade)};
    settings.isReversed = SlotSwitch(SlotParameter::Reverse);
    settings.isLooped = SlotSwitch(SlotParameter::LoopOn);
    settings.turnsRound = SlotSwitch(SlotParameter::LoopType);
    settings.repeatsOnce = SlotSwitch(SlotParameter::RepeatOnce);
    return settings;
}

template <u32 slotCount, u32 voiceCount>
float Simpler<slotCount, voiceCount>::StartControl(const ProcessContext& context) {
    float position = parameters[start].GetModulatedValue(context, 2);
    if (Value(phaseRetrigMode) > 0.5F) {
        randomState = Xorshift::Next(randomState);
        position += static_cast<float>(randomState) * 0x1p-32F;
    }
    return position;
}

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::FollowChanges() {
    player.SetSettings(ReadSettings());
    if (SlotChanged(SlotParameter::LoopOn)) {
        player.SwitchLoop(SlotSwitch(SlotParameter::LoopOn));
    }
    if (SlotChanged(SlotParameter::Gain)) {
        mixer.SetGain(BoundedDecibelsToGain(SlotValue(SlotParameter::Gain)));
    }
    if (SlotChanged(SlotParameter::Pan)) {
        mixer.SetPan(ClampToUnit(SlotValue(SlotParameter::Pan)));
    }
}

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::UpdateStretch() {
    const bool isOn = SlotSwitch(SlotParameter::TimeStretchOn);
    double factor = 1.0;
    if (isOn) {
        factor = SlotSwitch(SlotParameter::TimeStretchSync)
                     ? SyncedFactor()
                     : static_cast<double>(SlotValue(SlotParameter::TimeStretchFactor));
    }
    player.SetStretch(isOn, Within(factor, smallestFactor, largestFactor));
}

/// The factor at which the trimmed part lasts the bars asked for.
template <u32 slotCount, u32 voiceCount>
double Simpler<slotCount, voiceCount>::SyncedFactor() {
    const SampleData& sample = *samples[CurrentIndex()];
    const double trimmed = static_cast<double>(ClampToUnit(SlotValue(SlotParameter::TrimStop))) -
                           static_cast<double>(ClampToUnit(SlotValue(SlotParameter::TrimStart)));
    const double duration = sample.Frames() / static_cast<double>(sample.SampleRate()) * trimmed;
    const float length = bars[ToIndex(SlotValue(SlotParameter::TimeStretchBars), bars.size())];
    const double target =
        static_cast<double>(secondsPerBarAtOneBpm) / static_cast<double>(tempo) * static_cast<double>(length);
    return duration > 0.0 && target > 0.0 ? duration / target : smallestFactor;
}

template <u32 slotCount, u32 voiceCount>
float Simpler<slotCount, voiceCount>::VolumeTarget(const ProcessContext& context) {
    return BoundedDecibelsToGain(parameters[mainVolume].GetModulatedValue(context, 3));
}

template <u32 slotCount, u32 voiceCount>
float Simpler<slotCount, voiceCount>::ToneTarget(const ProcessContext& context) {
    return Within(parameters[filter].GetModulatedValue(context, 4), -1.0F, 1.0F);
}

/// Frames of the sample per frame.
template <u32 slotCount, u32 voiceCount>
float Simpler<slotCount, voiceCount>::Increment(const ProcessContext& context) {
    const float semitones = parameters[coarse].GetModulatedValue(context, 0) +
                            parameters[fine].GetModulatedValue(context, 1) +
                            SlotValue(SlotParameter::Transpose) + SlotValue(SlotParameter::Fine);
    const float ratio = std::exp2(semitones * octavesPerSemitone);
    const float base = Value(keyTrack) > 0.5F ? Value(freq) : middleC;
    const float rates = samples[CurrentIndex()]->SampleRate() / sampleRate;
    return Within(ratio * base / SlotValue(SlotParameter::RootNote) * rates, slowest, fastest);
}

template <u32 slotCount, u32 voiceCount>
bool Simpler<slotCount, voiceCount>::Process(ProcessContext& context) {
    if (current < 0) {
        return true;
    }
    mixer.RenderRamps(VolumeTarget(context), context.numFrames);
    player.Render(Increment(context), buffers[LeftBuffer], buffers[RightBuffer], context.numFrames);
    RunToneControl(context);
    const bool isStereoOn = Value(stereo) > 0.5F;
    WriteOutputs(context, isStereoOn);
    const bool differs = player.ChannelCount() > 1 || SlotValue(SlotParameter::Pan) != 0.5F;
    SetParameterNormalized(isStereo, isStereoOn && differs ? 1.0F : 0.0F);
    return true;
}

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::RunToneControl(const ProcessContext& context) {
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

template <u32 slotCount, u32 voiceCount>
void Simpler<slotCount, voiceCount>::WriteOutputs(const ProcessContext& context, bool asStereo) {
    const u32 outputCount = std::min(context.numOutputs, asStereo ? 2U : 1U);
    for (u32 side = 0; side < outputCount; ++side) {
        float* out = context.outputs[side];
        if (out == nullptr) {
            continue;
        }
        if (asStereo) {
            mixer.MixSide(buffers[side == 0 ? LeftBuffer : RightBuffer], side, out, context.numFrames);
        } else {
            mixer.MixMono(buffers[LeftBuffer], buffers[RightBuffer], out, context.numFrames);
        }
    }
}

template class Simpler<12, 1>;

} // namespace Velmora::dsp
