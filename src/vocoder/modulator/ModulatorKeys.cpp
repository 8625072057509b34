// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/ModulatorKeys.h"

#include "dsp/math/Xorshift.h"

namespace Velmora::Processor {

namespace {

using Own = ModulatorParameters;

constexpr u32 noteCount = 128;
constexpr u32 notesPerOctave = 12;
constexpr u32 octaveCount = 9;
/// Keys that come together within it are one chord.
constexpr float chordSeconds = 0.03F;

u32 FirstOf(const SampleCycle::Slots& slots) {
    u32 first = 0;
    while (!slots[first]) {
        ++first;
    }
    return first;
}

} // namespace

ModulatorKeys::ModulatorKeys(ModulatorPlayback& slotPlayback, ModulatorParameters& parameters)
    : playback(slotPlayback), own(parameters) {
    cycle.SeedRandom(dsp::Xorshift::ClockSeed());
}

void ModulatorKeys::Initialize(float sampleRate) {
    chordFrames = static_cast<u64>(chordSeconds * sampleRate);
}

void ModulatorKeys::FollowMode() {
    if (own.Changed(Own::SamplerPlayMode)) {
        playback.Cancel();
        ChooseNextSlot(true);
    }
    if (own.Changed(Own::SamplerPlayMode) || own.Changed(Own::CycleDirection)) {
        cycle.ClearTurn();
    }
}

void ModulatorKeys::FollowControls() {
    if (own.Changed(Own::CycleReset)) {
        ChooseNextSlot(true);
    }
    if (own.Changed(Own::SelectedSlot) || own.Changed(Own::CurrentSlot)) {
        own.Set(Own::SelectedSlotIsCurrentSlot, own.Value(Own::SelectedSlot) == own.Value(Own::CurrentSlot));
    }
    if (own.Changed(Own::SlotGUITrigger) && own.Position(Own::SlotGUITrigger) > 0.5F) {
        RunInterfaceTrigger();
    }
}

/// The user interface plays the current slot as a key would that is pressed and let go, so that with no other
/// key held the sample plays through once; or it says where the cycle goes on.
void ModulatorKeys::RunInterfaceTrigger() {
    if (!own.IsOn(Own::SamplerPlayMode)) {
        PlaySelectingNote(playback.CurrentSlot());
        framesSinceTrigger = 0;
    } else {
        const u32 chosen = own.Index(Own::CycleNextSlotFromGUI, Own::slotCount);
        if (playback.HasSample(chosen)) {
            own.Set(Own::CycleNextPlayingSlot, static_cast<float>(chosen));
        }
    }
    own.Set(Own::SlotGUITrigger, false);
}

bool ModulatorKeys::IsInSelectingOctave(u32 note) const {
    const u32 first = own.Index(Own::KeyboardSampleOctave, octaveCount) * notesPerOctave;
    return note >= first && note < first + notesPerOctave;
}

bool ModulatorKeys::SelectSlots() { return !own.IsOn(Own::ExternalInput) && !own.IsOn(Own::SamplerPlayMode); }

void ModulatorKeys::NoteOn(u32 note) {
    if (note >= noteCount) {
        return;
    }
    const bool selects = IsInSelectingOctave(note);
    if (!selects) {
        ++heldKeys;
    }
    if (own.IsOn(Own::SamplerPlayMode)) {
        PlayCycleNote();
    } else if (selects) {
        PlaySelectingNote(note % notesPerOctave);
    } else {
        PlayRepeatingNote();
    }
    framesSinceTrigger = 0;
}

void ModulatorKeys::NoteOff(u32 note) {
    if (note >= noteCount) {
        return;
    }
    if (!IsInSelectingOctave(note) && heldKeys > 0) {
        --heldKeys;
    }
    if (playback.HeldNoteCount() == 0) {
        heldKeys = 0;
        playback.Release();
    }
}

void ModulatorKeys::PlayCycleNote() {
    const bool isOfChord = playback.HeldNoteCount() >= 2 && IsWithinChordTime();
    if (isOfChord || IsTied()) {
        return;
    }
    const u32 locked = own.Index(Own::CycleLockedSample, Own::sampleCount + 1);
    if (locked == Own::sampleCount) {
        own.Set(Own::CurrentSlot, own.Value(Own::CycleNextPlayingSlot));
        ChooseNextSlot(false);
    } else {
        u32 slot = 0;
        while (slot < Own::slotCount && playback.SampleOfSlot(slot) != static_cast<i32>(locked)) {
            ++slot;
        }
        if (slot < Own::slotCount) {
            own.Set(Own::CurrentSlot, static_cast<float>(slot));
        }
    }
    playback.PlayCurrentSlot();
}

void ModulatorKeys::PlaySelectingNote(u32 slot) {
    if (playback.ValidSlots()[slot]) {
        PlaySlot(slot);
    }
}

/// A key outside the octave plays the current slot again, or the first one that can be played.
void ModulatorKeys::PlayRepeatingNote() {
    const bool isOfChord = heldKeys > 1 && IsWithinChordTime();
    const SampleCycle::Slots valid = playback.ValidSlots();
    if (isOfChord || IsTied() || valid.none()) {
        return;
    }
    if (valid[playback.CurrentSlot()]) {
        playback.PlayCurrentSlot();
    } else {
        PlaySlot(FirstOf(valid));
    }
}

void ModulatorKeys::PlaySlot(u32 slot) {
    own.Set(Own::CurrentSlot, static_cast<float>(slot));
    playback.PlayCurrentSlot();
}

void ModulatorKeys::ChooseNextSlot(bool restart) {
    const auto direction =
        static_cast<SampleCycle::Direction>(own.Index(Own::CycleDirection, SampleCycle::DirectionCount));
    const u32 current = own.Index(Own::CycleNextPlayingSlot, Own::slotCount);
    const auto choice = cycle.Choose(direction, current, restart, playback.ValidSlots());
    if (choice.next) {
        own.Set(Own::CycleNextPlayingSlot, static_cast<float>(*choice.next));
    }
    if (choice.foundNothing) {
        own.Set(Own::CurrentSlot, 0.0F);
    }
}

} // namespace Velmora::Processor
