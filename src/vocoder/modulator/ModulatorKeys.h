// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "vocoder/modulator/ModulatorParameters.h"
#include "vocoder/modulator/ModulatorPlayback.h"
#include "vocoder/modulator/SampleCycle.h"

namespace Velmora::Processor {

/// Which slot a note plays. In the keyboard mode the keys of one octave choose a slot and the others repeat
/// it; in the cycle mode each key moves on to the next slot, and a chord moves on by one.
class ModulatorKeys {
public:
    ModulatorKeys(ModulatorPlayback& slotPlayback, ModulatorParameters& parameters);

    void Initialize(float sampleRate);
    void Reset() { heldKeys = 0; }
    void SeedRandom(u32 seed) { cycle.SeedRandom(seed); }

    /// Before the playback follows its own controls: a change of the mode ends what plays.
    void FollowMode();
    void FollowControls();

    /// The table of held notes already tells of this note. Notes above 127 are ignored.
    void NoteOn(u32 note);
    void NoteOff(u32 note);
    void Advance(u32 frames) { framesSinceTrigger += frames; }

    bool IsInSelectingOctave(u32 note) const;
    /// Whether the notes of the selecting octave are kept from the voices.
    bool SelectSlots();
    /// Keys held outside the selecting octave.
    u32 HeldCount() const { return heldKeys; }

private:
    bool IsWithinChordTime() const { return framesSinceTrigger < chordFrames; }
    /// Legato: a note that comes while others are held plays on what sounds.
    bool IsTied() { return own.Value(ModulatorParameters::Legato) >= 0.5F && playback.HeldNoteCount() != 1; }
    void PlayCycleNote();
    void PlaySelectingNote(u32 slot);
    void PlayRepeatingNote();
    void PlaySlot(u32 slot);
    void ChooseNextSlot(bool restart);
    void RunInterfaceTrigger();

    ModulatorPlayback& playback;
    ModulatorParameters& own;
    SampleCycle cycle;
    u32 heldKeys = 0;
    u64 framesSinceTrigger = 0;
    u64 chordFrames = 0;
};

} // namespace Velmora::Processor
