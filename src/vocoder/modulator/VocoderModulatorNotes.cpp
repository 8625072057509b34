// SPDX-License-Identifier: GPL-3.0-or-later
// Which sample a note starts, and when.
#include "vocoder/modulator/VocoderModulator.h"

#include <numeric>

namespace Velmora::Processor {

namespace {

using dsp::ADSR;
using engine::VoiceKiller;

constexpr u32 noteCount = 128;
constexpr u32 notesPerOctave = 12;

} // namespace

bool VocoderModulator::IsInSelectingOctave(u32 note) const {
    const u32 first = IndexOf(KeyboardSampleOctave, 9) * notesPerOctave;
    return note >= first && note < first + notesPerOctave;
}

bool VocoderModulator::KeysSelectSlots() { return !IsOn(ExternalInput) && !IsOn(SamplerPlayMode); }

u32 VocoderModulator::HeldNoteCount() const {
    return heldNotes != nullptr ? std::accumulate(heldNotes, heldNotes + noteCount, 0U) : 0U;
}

void VocoderModulator::NoteOn(u32 note) {
    if (note >= noteCount) {
        return;
    }
    const bool selects = IsInSelectingOctave(note);
    if (!selects) {
        ++heldKeys;
    }
    if (IsOn(SamplerPlayMode)) {
        PlayCycleNote();
    } else if (selects) {
        PlaySelectingNote(note % notesPerOctave);
    } else {
        PlayKeyboardNote();
    }
    framesSinceTrigger = 0;
}

void VocoderModulator::NoteOff(u32 note) {
    if (note >= noteCount) {
        return;
    }
    if (!IsInSelectingOctave(note) && heldKeys > 0) {
        --heldKeys;
    }
    if (HeldNoteCount() > 0) {
        return;
    }
    heldKeys = 0;
    // A key that goes before its sample has begun is heard for a moment all the same.
    releaseWaits = IsStarting();
    if (!releaseWaits) {
        Child<Envelope>().SetParameterNormalized(ADSR::gateIn, 0.0F);
    }
    // A loop runs out to the sample's end.
    const i32 playing =
        hasJustStarted ? SampleOfSlot(IndexOf(CurrentSlot, slotCount)) : Child<Sampler>().CurrentSample();
    if (playing >= 0) {
        SetSamplerLoop(static_cast<u32>(playing), 0.0F);
    }
}

/// Each note moves on by one slot; the notes of a chord do so together.
void VocoderModulator::PlayCycleNote() {
    const u32 held = HeldNoteCount();
    if (held >= 2 && IsWithinChordTime()) {
        return;
    }
    if (AdditionalValue(Legato) >= 0.5F && held != 1) {
        return;
    }
    const u32 locked = IndexOf(CycleLockedSample, sampleCount + 1);
    if (locked == sampleCount) {
        SetOwn(CurrentSlot, AdditionalValue(CycleNextPlayingSlot));
        ChooseNextSlot(false);
    } else {
        for (u32 slot = 0; slot < slotCount; ++slot) {
            if (SampleOfSlot(slot) == static_cast<i32>(locked)) {
                SetOwn(CurrentSlot, static_cast<float>(slot));
                break;
            }
        }
    }
    Trigger();
}

void VocoderModulator::PlaySelectingNote(u32 slot) {
    if (IsValidSlot(slot)) {
        SetOwn(CurrentSlot, static_cast<float>(slot));
        Trigger();
    }
}

/// A key outside the octave plays the current slot again, or the first one that can be played.
void VocoderModulator::PlayKeyboardNote() {
    if (AdditionalValue(Legato) >= 0.5F && HeldNoteCount() != 1) {
        return;
    }
    if (heldKeys > 1 && IsWithinChordTime()) {
        return;
    }
    if (!IsValidSlot(IndexOf(CurrentSlot, slotCount))) {
        const SampleCycle::Slots valid = ValidSlots();
        if (valid.none()) {
            return;
        }
        u32 first = 0;
        while (!valid[first]) {
            ++first;
        }
        SetOwn(CurrentSlot, static_cast<float>(first));
    }
    Trigger();
}

/// What sounds fades first; the slot then starts from Process.
void VocoderModulator::Trigger() {
    const u32 slot = IndexOf(CurrentSlot, slotCount);
    if (!IsValidSlot(slot)) {
        return;
    }
    releaseWaits = false;
    if (IsSounding() && !Child<Sampler>().IsFinished()) {
        Child<Killer>().SetParameterValue(VoiceKiller::state, VoiceKiller::fade);
        return;
    }
    // A fade that was stopped half way must not take the new sample with it.
    Child<Killer>().Reset(false);
    StartSlot(slot);
}

/// Only what plays can fade: playback that was stopped from outside leaves its envelope open.
bool VocoderModulator::IsSounding() {
    ADSR& envelope = Child<Envelope>();
    return IsOn(IsPlayingSample) && (envelope.GetParameterNormalized(ADSR::gateIn) >= 0.5F ||
                                     envelope.FindParameter(ADSR::outState)->GetValue() != 0.0F);
}

bool VocoderModulator::IsStarting() {
    return IsOn(IsPlayingSample) && (hasJustStarted || KillerState() == VoiceKiller::fade);
}

void VocoderModulator::StartSlot(u32 slot) {
    const i32 sample = SampleOfSlot(slot);
    if (sample < 0) {
        StopPlayback();
        return;
    }
    Child<Sampler>().SetParameterValue(dsp::Simpler<12, 1>::selectedSlot, static_cast<float>(sample));
    Child<Sampler>().Reset(false);
    SetOwn(IsPlayingSample, 1.0F);
    hasJustStarted = true;
    ADSR& envelope = Child<Envelope>();
    envelope.Reset(false);
    // Down and up again, so that a gate that is open already opens anew.
    envelope.SetParameterNormalized(ADSR::gateIn, 0.0F);
    envelope.SetParameterNormalized(ADSR::gateIn, 1.0F);
    // The last key may have gone during the fade, or there was none: nothing would ever end a loop.
    const bool mayLoop = heldNotes == nullptr || HeldNoteCount() > 0;
    SetSamplerLoop(static_cast<u32>(sample),
                   mayLoop ? AdditionalValue(SampleLoopOn + static_cast<u32>(sample)) : 0.0F);
}

void VocoderModulator::SetSamplerLoop(u32 sample, float on) {
    using Simpler = dsp::Simpler<12, 1>;
    Child<Sampler>().SetParameterValue(Simpler::SlotId(dsp::SlotParameter::LoopOn, sample), on);
}

void VocoderModulator::StopPlayback() {
    Child<Sampler>().Reset(false);
    Child<Envelope>().Reset(false);
    Child<Envelope>().SetParameterNormalized(ADSR::gateIn, 0.0F);
    EndPlayback();
}

void VocoderModulator::EndPlayback() {
    SetOwn(IsPlayingSample, 0.0F);
    SetOwn(SamplerPlayheadPosition, 0.0F);
    hasJustStarted = false;
    releaseWaits = false;
}

void VocoderModulator::ChooseNextSlot(bool restart) {
    const auto direction =
        static_cast<SampleCycle::Direction>(IndexOf(CycleDirection, SampleCycle::DirectionCount));
    const auto choice =
        cycle.Choose(direction, IndexOf(CycleNextPlayingSlot, slotCount), restart, ValidSlots());
    if (choice.next) {
        SetOwn(CycleNextPlayingSlot, static_cast<float>(*choice.next));
    }
    if (choice.foundNothing) {
        SetOwn(CurrentSlot, 0.0F);
    }
}

SampleCycle::Slots VocoderModulator::ValidSlots() {
    SampleCycle::Slots valid;
    for (u32 slot = 0; slot < slotCount; ++slot) {
        valid[slot] = IsValidSlot(slot);
    }
    return valid;
}

i32 VocoderModulator::SampleOfSlot(u32 slot) const {
    const float sample = slotTable[slot];
    return sample >= 0.0F && sample < static_cast<float>(sampleCount) ? static_cast<i32>(sample) : -1;
}

bool VocoderModulator::IsValidSlot(u32 slot) {
    const i32 sample = SampleOfSlot(slot);
    return sample >= 0 && HasSample(static_cast<u32>(sample));
}

} // namespace Velmora::Processor
