// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/ModulatorPlayback.h"

#include "dsp/framework/RunChild.h"

#include <algorithm>
#include <numeric>
#include <span>
#include <string>

namespace Velmora::Processor {

namespace {

namespace Declare = dsp::Declare;
using dsp::ADSR;
using dsp::ProcessContext;
using dsp::Sampler;
using dsp::SlotParameter;
using Own = ModulatorParameters;

constexpr u32 noteCount = 128;

void SetUp(Sampler& sampler) {
    struct Renamed {
        SlotParameter parameter;
        const char* key;
    };
    constexpr std::array renamed = {Renamed{SlotParameter::TrimStart, "TrimStart"},
                                    Renamed{SlotParameter::TrimStop, "TrimStop"},
                                    Renamed{SlotParameter::LoopStart, "LoopStart"},
                                    Renamed{SlotParameter::LoopStop, "LoopStop"},
                                    Renamed{SlotParameter::Gain, "Gain"},
                                    Renamed{SlotParameter::CrossFade, "CrossFade"},
                                    Renamed{SlotParameter::TimeStretchOn, "TimeStretchOn"},
                                    Renamed{SlotParameter::TimeStretchFactor, "TimeStretchFactor"},
                                    Renamed{SlotParameter::TimeStretchBars, "TimeStretchBars"},
                                    Renamed{SlotParameter::TimeStretchSync, "TimeStretchSync"}};
    for (u32 slot = 0; slot < Sampler::slotCount; ++slot) {
        const auto id = [slot](SlotParameter key) { return Sampler::SlotId(key, slot); };
        for (const Renamed& entry : renamed) {
            sampler.FindParameter(id(entry.parameter))->name =
                "Sample" + std::to_string(slot + 1) + "_" + entry.key;
        }
        Redeclare(sampler, id(SlotParameter::Gain), Declare::Linear({}, -36.0F, 24.0F));
        Redeclare(sampler, id(SlotParameter::TimeStretchFactor),
                  Declare::Exponential({}, 0.125F, 4.0F, 2.5F));
        sampler.SetParameterValue(id(SlotParameter::CrossFade), 0.5F);
    }
    sampler.SetParameterNormalized(Sampler::KeyTrack, 0.0F);
}

void SetUp(ADSR& envelope) {
    Redeclare(envelope, ADSR::Attack, Declare::Exponential({}, 0.002F, 20.0F, 5.0F));
    Redeclare(envelope, ADSR::Release, Declare::Exponential({}, 0.002F, 20.0F, 4.0F));
    envelope.SetParameterValue(ADSR::AttackCurve, 0.0F);
    envelope.SetParameterNormalized(ADSR::Decay, 0.0F);
    envelope.SetParameterNormalized(ADSR::Sustain, 1.0F);
    envelope.SetParameterValue(ADSR::ReleaseCurve, -4.0F);
    envelope.SetParameterNormalized(ADSR::ControlRate, 0.0F);
}

} // namespace

ModulatorPlayback::ModulatorPlayback(Sampler& samplePlayer, ADSR& gateEnvelope,
                                     engine::VoiceKiller& voiceKiller, ModulatorParameters& parameters)
    : sampler(samplePlayer), envelope(gateEnvelope), killer(voiceKiller), own(parameters) {
    SetUp(sampler);
    SetUp(envelope);
    samples.CallBeforeSamples([this] { sampler.MakeStretchers(); });
}

// Parameters and slots.

void ModulatorPlayback::FollowControls() {
    RestoreReadBacks();
    FollowSlotTable();
    for (u32 sample = 0; sample < Own::sampleCount; ++sample) {
        if (own.Changed(Own::SampleLoopOn + sample)) {
            LoopSample(sample, own.Value(Own::SampleLoopOn + sample));
        }
    }
    if (own.Changed(Own::StopSampler) && own.IsOn(Own::StopSampler)) {
        SetPlaying(false);
    }
}

/// What a host writes there is no command: whoever sends all values of one instrument to another does not
/// want it to play.
void ModulatorPlayback::RestoreReadBacks() {
    if (own.Changed(Own::IsPlayingSample)) {
        own.Set(Own::IsPlayingSample, isPlaying);
    }
    for (u32 sample = 0; sample < Own::sampleCount; ++sample) {
        if (own.Changed(Own::SampleLoaded + sample)) {
            own.Set(Own::SampleLoaded + sample, sampler.HasSample(sample));
        }
    }
}

void ModulatorPlayback::FollowSlotTable() {
    for (u32 slot = 0; slot < Own::slotCount; ++slot) {
        if (!own.Changed(Own::SlotSample + slot)) {
            continue;
        }
        const float sample = own.Value(Own::SlotSample + slot);
        if (slot == CurrentSlot() && sample != slotTable[slot] && isPlaying) {
            Stop();
        }
        slotTable[slot] = sample;
    }
}

u32 ModulatorPlayback::HeldNoteCount() const {
    return heldNotes != nullptr ? std::accumulate(heldNotes, heldNotes + noteCount, 0U) : 0U;
}

i32 ModulatorPlayback::SampleOfSlot(u32 slot) const {
    const float sample = slotTable[slot];
    return sample >= 0.0F && sample < static_cast<float>(Own::sampleCount) ? static_cast<i32>(sample) : -1;
}

SampleCycle::Slots ModulatorPlayback::ValidSlots() const {
    SampleCycle::Slots valid;
    for (u32 slot = 0; slot < Own::slotCount; ++slot) {
        const i32 sample = SampleOfSlot(slot);
        valid[slot] = sample >= 0 && sampler.HasSample(static_cast<u32>(sample));
    }
    return valid;
}

void ModulatorPlayback::LoopSample(u32 sample, float on) {
    sampler.SetParameterValue(Sampler::SlotId(SlotParameter::LoopOn, sample), on);
}

// Starts and ends.

void ModulatorPlayback::PlayCurrentSlot() {
    if (!ValidSlots()[CurrentSlot()]) {
        return;
    }
    releaseWaits = false;
    if (IsSounding() && !sampler.IsFinished()) {
        // The slot starts when the fade is over.
        Fade(true);
        return;
    }
    // A fade that was stopped half way must not take the new sample with it.
    Fade(false);
    Start(CurrentSlot());
}

/// Only what plays can fade: playback that was stopped from outside leaves its envelope open.
bool ModulatorPlayback::IsSounding() { return isPlaying && (isGateOpen || envelope.IsRunning()); }

void ModulatorPlayback::SetPlaying(bool plays) {
    isPlaying = plays;
    own.Set(Own::IsPlayingSample, plays);
}

void ModulatorPlayback::OpenEnvelope(bool open) {
    isGateOpen = open;
    envelope.SetGate(open);
}

void ModulatorPlayback::Fade(bool on) {
    isFading = on;
    if (on) {
        killer.StartFade();
    } else {
        killer.Reset(false);
    }
}

void ModulatorPlayback::Start(u32 slot) {
    const i32 sample = SampleOfSlot(slot);
    if (sample < 0) {
        Stop();
        return;
    }
    sampler.SetParameterValue(Sampler::SelectedSlot, static_cast<float>(sample));
    sampler.Reset(false);
    SetPlaying(true);
    hasJustStarted = true;
    envelope.Reset(false);
    isGateOpen = true;
    envelope.Restart();
    // The last key may have gone during the fade, or there was none: nothing would ever end a loop.
    const bool mayLoop = heldNotes == nullptr || HeldNoteCount() > 0;
    const auto played = static_cast<u32>(sample);
    LoopSample(played, mayLoop ? own.Value(Own::SampleLoopOn + played) : 0.0F);
}

void ModulatorPlayback::Release() {
    // A key that goes before its sample has begun is heard for a moment all the same.
    releaseWaits = IsStarting();
    if (!releaseWaits) {
        OpenEnvelope(false);
    }
    const i32 playing = hasJustStarted ? SampleOfSlot(CurrentSlot()) : sampler.CurrentSample();
    if (playing >= 0) {
        LoopSample(static_cast<u32>(playing), 0.0F);
    }
}

void ModulatorPlayback::End() {
    SetPlaying(false);
    own.Set(Own::SamplerPlayheadPosition, 0.0F);
    hasJustStarted = false;
    isFading = false;
    releaseWaits = false;
}

void ModulatorPlayback::Stop() {
    sampler.Reset(false);
    envelope.Reset(false);
    OpenEnvelope(false);
    End();
}

void ModulatorPlayback::Cancel() {
    End();
    envelope.Reset(false);
    sampler.Reset(false);
    Fade(false);
}

// One block.

void ModulatorPlayback::ServeSamples() {
    samples.RunResults();
    const std::span<const u32> updated = samples.Updated();
    for (const u32 sample : updated) {
        // A start that this block is about to make has left the sample before behind.
        const bool plays =
            isPlaying && !sampler.needsUpdate && sampler.CurrentSample() == static_cast<i32>(sample);
        sampler.SetSample(samples.Sample(sample), sample);
        if (plays && isFading && SampleOfSlot(CurrentSlot()) != static_cast<i32>(sample)) {
            // It goes in place of its fade; the key's sample that waits for that is not lost.
            Start(CurrentSlot());
            Fade(false);
        } else if (plays) {
            Stop();
        }
    }
    for (u32 slot = 0; slot < Own::slotCount && !updated.empty(); ++slot) {
        slotTable[slot] = own.Value(Own::SlotSample + slot);
    }
    for (const u32 sample : updated) {
        own.Set(Own::SampleLoaded + sample, sampler.HasSample(sample));
    }
    samples.ClearUpdated();
    samples.DispatchRequests();
}

void ModulatorPlayback::Render(const ProcessContext& context) {
    for (u32 channel = 0; channel < context.numOutputs; ++channel) {
        std::fill_n(context.outputs[channel], context.numFrames, 0.0F);
    }
    if (isPlaying) {
        Run(context);
        StartOrEnd();
    }
}

void ModulatorPlayback::Run(const ProcessContext& context) {
    if (envelope.IsGateOpen() != isGateOpen) {
        OpenEnvelope(isGateOpen); // it was written from outside
    }
    const std::array<const float*, 7> noModulation{};
    float* levels = envelopeLevels.data();
    ProcessContext envelopeContext = context.ForChild(noModulation.data(), noModulation.size(), &levels, 1);
    dsp::RunChild(envelope, envelopeContext);
    hasJustStarted = false;

    constexpr u32 samplerInputs = 5;
    ProcessContext samplerContext = context.ForChild(noModulation.data(), samplerInputs, context.outputs, 2);
    dsp::RunChild(sampler, samplerContext);
    PublishPlayhead();
    for (u32 channel = 0; channel < 2; ++channel) {
        float* out = context.outputs[channel];
        std::transform(out, out + context.numFrames, levels, out,
                       [](float x, float level) { return x * level; });
    }
    if (!isFading && (killer.IsFading() || killer.IsMuted())) {
        Fade(false); // so was this
    }
    const std::array<const float*, 2> inPlace{context.outputs[0], context.outputs[1]};
    ProcessContext killerContext = context.ForChild(inPlace.data(), 2, context.outputs, 2);
    dsp::RunChild(killer, killerContext);
}

void ModulatorPlayback::PublishPlayhead() {
    const double frames = sampler.CurrentFrames();
    const double position = frames > 0.0 ? sampler.PlayPosition() / frames : 0.0;
    own.Set(Own::SamplerPlayheadPosition, dsp::ClampToUnit(static_cast<float>(position)));
}

bool ModulatorPlayback::HasEnded() {
    const bool isReleased = !isGateOpen && !envelope.IsRunning();
    // The file may have been taken away between the key and its start, and then no key might end it.
    return isReleased || sampler.IsFinished() || sampler.CurrentSample() < 0;
}

/// After a fade the waiting slot starts; otherwise playback ends with the envelope or the sample.
void ModulatorPlayback::StartOrEnd() {
    const bool hasEnded = HasEnded();
    // The old sample may end while it fades: the one that waits for it is not lost.
    if (isFading && (killer.IsMuted() || hasEnded)) {
        Start(CurrentSlot());
        Fade(false);
    } else if (hasEnded) {
        End();
        envelope.Reset(false);
    } else if (releaseWaits && !IsStarting()) {
        OpenEnvelope(false);
        releaseWaits = false;
    }
}

} // namespace Velmora::Processor
