// SPDX-License-Identifier: GPL-3.0-or-later
// One block of the modulator.
#include "dsp/framework/RunChild.h"
#include "dsp/math/Within.h"
#include "vocoder/modulator/VocoderModulator.h"

#include <algorithm>

namespace Velmora::Processor {

namespace {

using dsp::ADSR;
using dsp::ProcessContext;
using engine::VoiceKiller;

constexpr u32 sideChannel = 2;

void Mix(const float* left, const float* right, float* out, u32 frames) {
    std::transform(left, left + frames, right, out, [](float l, float r) { return (l + r) * 0.5F; });
}

/// out goes from what it holds to `other` as the fade goes from 0 to 1.
void FadeTo(const float* fade, const float* other, float* out, u32 frames) {
    for (u32 n = 0; n < frames; ++n) {
        out[n] = fade[n] * other[n] + (1.0F - fade[n]) * out[n];
    }
}

} // namespace

bool VocoderModulator::Process(ProcessContext& context) {
    if (context.numOutputs < outputCount) {
        return false;
    }
    ServeSamples();
    const float* left = context.InputOrNull(0);
    const float* second = context.InputOrNull(1);
    // Over the longest block, whatever this one's length: short blocks move the gain faster.
    externalGain.RenderBlock(buffers[MonoBuffer], maxFrames);
    if (IsOn(ExternalInput) && left != nullptr) {
        RenderExternal(context, left, second != nullptr ? second : left);
    } else {
        RenderSampler(context);
    }
    MeasureLevel(context);
    RenderTone(context);
    framesSinceTrigger += context.numFrames;
    return true;
}

void VocoderModulator::ServeSamples() {
    samples.RunResults();
    const std::span<const u32> updated = samples.Updated();
    for (const u32 sample : updated) {
        // A start that this block is about to make has left the sample before behind.
        const bool isPlaying = IsOn(IsPlayingSample) && !Child<Sampler>().needsUpdate &&
                               Child<Sampler>().CurrentSample() == static_cast<i32>(sample);
        Child<Sampler>().SetSample(samples.Sample(sample), sample);
        if (isPlaying) {
            StopPlayback();
        }
    }
    if (!updated.empty()) {
        for (u32 slot = 0; slot < slotCount; ++slot) {
            slotTable[slot] = AdditionalValue(SlotSample + slot);
        }
        for (const u32 sample : updated) {
            SetOwn(SampleLoaded + sample, HasSample(sample) ? 1.0F : 0.0F);
        }
        samples.ClearUpdated();
    }
    samples.DispatchRequests();
}

void VocoderModulator::RenderSampler(ProcessContext& context) {
    for (u32 channel = 0; channel < context.numOutputs; ++channel) {
        std::fill_n(context.outputs[channel], context.numFrames, 0.0F);
    }
    if (!IsOn(IsPlayingSample)) {
        return;
    }
    RunSampler(context);
    FollowPlayback();
}

void VocoderModulator::RunSampler(ProcessContext& context) {
    const std::array<const float*, 7> noModulation{};
    const std::array<float*, 1> envelope{buffers[EnvelopeBuffer]};
    ProcessContext envelopeContext =
        context.ForChild(noModulation.data(), noModulation.size(), envelope.data(), envelope.size());
    dsp::RunChild(Child<Envelope>(), envelopeContext);
    hasJustStarted = false;

    constexpr u32 samplerInputs = 5;
    ProcessContext samplerContext = context.ForChild(noModulation.data(), samplerInputs, context.outputs, 2);
    dsp::RunChild(Child<Sampler>(), samplerContext);
    PublishPlayhead();
    for (u32 channel = 0; channel < 2; ++channel) {
        float* out = context.outputs[channel];
        std::transform(out, out + context.numFrames, envelope[0], out,
                       [](float x, float level) { return x * level; });
    }
    const std::array<const float*, 2> inPlace{context.outputs[0], context.outputs[1]};
    ProcessContext killerContext = context.ForChild(inPlace.data(), 2, context.outputs, 2);
    dsp::RunChild(Child<Killer>(), killerContext);
}

void VocoderModulator::PublishPlayhead() {
    const auto& sampler = Child<Sampler>();
    const double frames = sampler.CurrentFrames();
    const double position =
        sampler.CurrentSample() >= 0 && frames > 0.0 ? sampler.PlayPosition() / frames : 0.0;
    SetAdditionalNormalized(SamplerPlayheadPosition, dsp::ClampToUnit(static_cast<float>(position)));
}

/// After a fade the waiting slot starts; otherwise playback ends with the envelope or the sample.
void VocoderModulator::FollowPlayback() {
    const float killer = KillerState();
    ADSR& envelope = Child<Envelope>();
    // The file may have been taken away between the key and its start, and then no key might end it.
    const bool hasSample = Child<Sampler>().CurrentSample() >= 0;
    const bool hasEnded = (envelope.GetParameterNormalized(ADSR::gateIn) < 0.5F &&
                           envelope.FindParameter(ADSR::outState)->GetValue() == 0.0F) ||
                          Child<Sampler>().IsFinished() || !hasSample;
    // The old sample may end while it fades: the one that waits for it is not lost.
    if (killer == VoiceKiller::mute || (killer == VoiceKiller::fade && hasEnded)) {
        StartSlot(IndexOf(CurrentSlot, slotCount));
        Child<Killer>().Reset(false);
    } else if (hasEnded) {
        EndPlayback();
        envelope.Reset(false);
    } else if (releaseWaits && !IsStarting()) {
        envelope.SetParameterNormalized(ADSR::gateIn, 0.0F);
        releaseWaits = false;
    }
}

void VocoderModulator::RenderExternal(ProcessContext& context, const float* left, const float* right) {
    const u32 frames = context.numFrames;
    const std::array<const float*, inputCount> inputs{left, right};
    LatchDetection({left, frames});
    RunGate(context, inputs);
    const float* gain = buffers[MonoBuffer];
    const bool isOpen = Child<Gate>().IsOpen();
    for (u32 channel = 0; channel < 2; ++channel) {
        float* out = context.outputs[channel];
        if (isOpen) {
            std::transform(gain, gain + frames, inputs[channel], out, [](float g, float x) { return g * x; });
        } else {
            std::fill_n(out, frames, 0.0F);
        }
    }
    Mix(left, right, context.outputs[sideChannel], frames);
    RunTracker(context, inputs);
}

void VocoderModulator::LatchDetection(std::span<const float> signal) {
    hasDetectedSignal =
        hasDetectedSignal || std::any_of(signal.begin(), signal.end(), [](float x) { return x != 0.0F; });
    SetOwn(ExternalSignalHasBeenDetectedAtLeastOnce, hasDetectedSignal ? 1.0F : 0.0F);
}

void VocoderModulator::RunGate(ProcessContext& context, std::span<const float* const> inputs) {
    ProcessContext child = context.ForChild(inputs.data(), inputCount, nullptr, 0);
    dsp::RunChild(Child<Gate>(), child);
}

void VocoderModulator::RunTracker(ProcessContext& context, std::span<const float* const> inputs) {
    ProcessContext child = context.ForChild(inputs.data(), inputCount, &context.outputs[sideChannel], 1);
    dsp::RunChild(Child<Tracker>(), child);
}

/// Before equaliser and compressor.
void VocoderModulator::MeasureLevel(ProcessContext& context) {
    float* mono = buffers[MonoBuffer];
    Mix(context.outputs[0], context.outputs[1], mono, context.numFrames);
    const std::array<const float*, 1> input{mono};
    ProcessContext child = context.ForChild(input.data(), 1, nullptr, 0);
    dsp::RunChild(Child<Meter>(), child);
}

/// Neither runs while it is off and its fade has settled. While the equaliser is active the compressor takes
/// its wet signal, faded or not.
void VocoderModulator::RenderTone(ProcessContext& context) {
    const bool equalises = IsOn(ParamEQOn) || !equaliserFade.IsAtTarget();
    const bool compresses = IsOn(CompressorOn) || !compressorFade.IsAtTarget();
    if (equalises) {
        RunEqualiser(context, compresses);
    }
    if (compresses) {
        RunCompressor(context, equalises);
    } else {
        Child<Dynamics>().SetParameterNormalized(dsp::Compressor::OutGainReduction, 0.0F);
    }
}

void VocoderModulator::RunEqualiser(ProcessContext& context, bool compressorFollows) {
    const Stereo outputs{context.outputs[0], context.outputs[1]};
    if (equaliserFade.IsAtTarget()) {
        RunEqualiserFrom(context, outputs, compressorFollows ? Wet() : outputs);
        return;
    }
    RunEqualiserFrom(context, outputs, Wet());
    float* fade = buffers[EqualiserFade];
    equaliserFade.RenderBlock(fade, context.numFrames);
    for (u32 channel = 0; channel < 2; ++channel) {
        FadeTo(fade, Wet()[channel], outputs[channel], context.numFrames);
    }
}

void VocoderModulator::RunCompressor(ProcessContext& context, bool afterEqualiser) {
    const Stereo outputs{context.outputs[0], context.outputs[1]};
    const Stereo wet = Wet();
    if (compressorFade.IsAtTarget()) {
        RunCompressorFrom(context, afterEqualiser ? wet : outputs, outputs);
        return;
    }
    float* fade = buffers[CompressorFade];
    compressorFade.RenderBlock(fade, context.numFrames);
    // Either way the outputs end as a mix of what came in and what the compressor made of it.
    if (afterEqualiser) {
        RunCompressorFrom(context, wet, outputs);
        for (u32 channel = 0; channel < 2; ++channel) {
            std::swap_ranges(outputs[channel], outputs[channel] + context.numFrames, wet[channel]);
        }
    } else {
        RunCompressorFrom(context, outputs, wet);
    }
    for (u32 channel = 0; channel < 2; ++channel) {
        FadeTo(fade, wet[channel], outputs[channel], context.numFrames);
    }
}

void VocoderModulator::RunEqualiserFrom(ProcessContext& context, const Stereo& from, const Stereo& to) {
    const std::array<const float*, 2> inputs{from[0], from[1]};
    ProcessContext child = context.ForChild(inputs.data(), 2, to.data(), 2);
    dsp::RunChild(Child<Equaliser>(), child);
}

void VocoderModulator::RunCompressorFrom(ProcessContext& context, const Stereo& from, const Stereo& to) {
    const std::array<const float*, 2> inputs{from[0], from[1]};
    ProcessContext child = context.ForChild(inputs.data(), 2, to.data(), 2);
    dsp::RunChild(Child<Dynamics>(), child);
}

} // namespace Velmora::Processor
