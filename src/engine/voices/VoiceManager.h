// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "engine/voices/HeldNotes.h"
#include "engine/voices/VoiceInfo.h"

#include <array>
#include <span>
#include <vector>

namespace Velmora::engine {

class MtsClient;

/// Turns note events into voice slots: which slot plays a note, which one is stolen, when one is free again.
/// It makes no sound; the owner derives from it and starts, releases, fades and tests the voices in the
/// hooks.
///
/// A slot is free, then active, then released (note-off) or killed (stolen or stopped), then free again
/// through ReapVoices. A killed slot may have a note waiting, which starts there once the fade is over. With
/// unison a note takes a whole group of slots. In the mono mode slot 0 and its group are the voice, and the
/// record of slot 0 names the note that waits while the former one fades.
///
/// Every slot number given must be below `voiceCount`, every note number below 128; what comes in through
/// HandleEvent is checked there. Everything runs on the audio thread, and all lists have
/// their capacity from construction on.
class VoiceManager {
public:
    /// A slot, and how much its loss would be heard: a released voice costs less than any sounding one.
    struct StealCandidate {
        static constexpr u64 nothingFound = ~u64{0};
        u32 slot = 0;
        u64 cost = nothingFound;
    };

    VoiceManager(const VoiceManager&) = delete;
    VoiceManager& operator=(const VoiceManager&) = delete;
    virtual ~VoiceManager();

    /// Takes note-on and note-off of any channel; other events do nothing. A note number above 127 drops the
    /// event; of a velocity above 127 the top bit is ignored.
    void HandleEvent(const dsp::Event& event);
    /// The pedal. Lifting it releases the notes that only it held.
    void SetSustain(bool down);
    /// 0 is mono, 1 mono with legato, m from 2 on is poly with table[m] voices. Voices that the new mode has
    /// no place for are faded, and what waited on them is dropped. An m outside the table does nothing.
    void SetPolyphonyMode(i32 m, std::span<const u32> table);
    /// Slots per note, 1 to the number of slots; others are clamped. A change fades all voices, as the groups
    /// are others from then on.
    void SetUnison(u32 slots);

    const VoiceInfo& Voice(u32 v) const { return voices[v]; }
    bool IsKilled(u32 v) const { return voices[v].killed; }
    bool IsPending(u32 v) const { return pending[v]; }
    /// The note that waits for the slot's fade, while IsPending.
    const NoteInfo& PendingNote(u32 v) const { return pendingNotes[v]; }
    /// Notes held by a key or by the pedal.
    u32 HeldNoteCount() const { return held.Count(); }
    /// The note waits on some slot for the end of a fade.
    bool IsWaiting(const NoteInfo& note) const;
    /// The voice assigned last of those whose note is held, apart from `except`; -1 for none.
    i32 NewestHeldVoice(i32 except = -1) const;
    /// The voice whose held note this is, on exactly this channel; -1 for none.
    i32 FindVoice(u8 note, u8 channel) const;

    /// Notes that wait for the end of a fade.
    u32 PendingCount() const;
    /// How often each note number is pressed at present; the keys kept from the voices count too.
    std::span<const u8, 128> PressTable() const { return held.PressTable(); }

    /// The active slots, ascending. Valid until the next call that changes the voices.
    std::span<const u32> ActiveVoices() const { return active; }
    /// To be called once per block: voices that start in one block share an age.
    void AdvanceAge() { ++age; }

    bool IsSustained() const { return sustain; }
    bool IsMono() const { return isMono; }

    /// 1 slides a new note onto the running voice of the mono mode.
    void SetLegato(i32 newLegato) { legato = newLegato; }
    /// Of the mono mode: 0 lowest, 1 highest, any other value last.
    void SetNotePriority(i32 priority) { notePriority = priority; }
    /// 1 normal; 2 reuses the slot released last; any other value plays a repeated note on a slot of its own.
    void SetAllocation(i32 newAllocation) { allocation = newAllocation; }
    /// 0 fades the old voice and queues the note; any other value takes the slot at once.
    void SetStealMode(i32 newMode) { stealMode = newMode; }
    /// At most `limit` voices on one note number. A limit of 0 counts as off.
    void SetSameNoteLimit(bool enabled, u32 limit);
    /// Whether a key is its note number alone, on whatever channel it is pressed and lifted. Without it a
    /// number on another channel is another key, which has a voice of its own.
    void SetIgnoreChannel(bool ignore);
    bool IgnoresChannel() const { return ignoreChannel; }

    /// As if every key was let go; the pedal still holds what it holds.
    void LiftAllKeys();

    /// Forgets all voices and notes at once, without any hook. Settings and pedal stay.
    void ResetAll();
    /// To be called once per block: frees the slots that have become silent and starts the notes that waited
    /// for them, if their keys are still down.
    void ReapVoices();
    StealCandidate FindVoiceToSteal() const;

protected:
    VoiceManager();

    virtual void NoteOn(const NoteInfo& note);
    virtual void NoteOff(const NoteInfo& note);
    /// For notes that the owner keeps from the voices: such a key neither counts as held nor takes the mono
    /// voice over.
    void ForgetHeldNote(const NoteInfo& note) { held.Remove(note, ignoreChannel); }

    /// Starts the sound of a slot. With `stealing` the slot goes on with another note: it is active, it is
    /// not killed, but it may have been released.
    virtual void StartVoice(u32 v, const NoteInfo& note, bool stealing) = 0;
    /// True when the slot has become silent.
    virtual bool CanKill(u32 v) = 0;
    virtual void ReleaseVoiceHook(u32 v) = 0;
    /// The tuning client that may filter notes out, or null.
    virtual const engine::MtsClient* MtsClient() const { return nullptr; }
    /// Begins the forced fade; called again when the slot is already fading.
    virtual void OnVoiceKilled(u32 v) = 0;
    virtual void OnVoiceFinished(u32 /*v*/) {}
    /// While a voice starts: the mono voice goes back to a key that was held under the one let go.
    bool IsReturning() const { return isReturning; }

private:
    static constexpr i32 none = -1;

    void HandleNoteOn(const NoteInfo& note);
    void HandleNoteOff(const NoteInfo& note);
    void ReleaseUnpressed();

    u32 GroupEnd(u32 v) const;
    u32 GroupStart(u32 v) const { return v - v % unison; }
    bool FitsGroup(u32 v) const { return GroupStart(v) + unison <= voiceCount; }
    bool IsGroupFree(u32 v) const;
    bool IsHeld(u32 v) const;
    i32 FindRinging(const NoteInfo& note) const;
    i32 FindFormerSlot(u8 note) const;
    i32 FindOverLimit(u8 note) const;
    i32 FindFree() const;
    i32 FindFadingWithoutNote() const;

    bool ReuseReleased(const NoteInfo& note);
    void TakeGroup(u32 v, const NoteInfo& note);
    void QueueGroup(u32 v, const NoteInfo& note);
    void Queue(u32 v, const NoteInfo& note);
    bool HasMonoNote() const;
    void RestartMono(const NoteInfo& note);
    bool LosesToPresentNote(u8 note) const;
    void TakeOverMono(NoteInfo note);
    void ReleasePlaying(u32 v, const NoteInfo& note);
    void ClearPending(u32 first, u32 last, const NoteInfo& note);
    void Reap(u32 v);

    void NoteOnPoly(const NoteInfo& note);
    void NoteOnMono(const NoteInfo& note);
    void NoteOnByStealing(const NoteInfo& note);
    void NoteOffPoly(const NoteInfo& note);
    void NoteOffMono(const NoteInfo& note);
    void AssignVoice(u32 v, const NoteInfo& note, bool stealing);
    void AssignGroup(u32 v, const NoteInfo& note, bool stealing);
    void ReleaseVoice(u32 v);
    void KillVoice(u32 v);

    /// Keeps `active` ascending and free of duplicates.
    void InsertActive(u32 v);
    void SetPolyphony(u32 newPolyphony);
    void EnterMono();
    void EnterPoly(u32 newPolyphony);
    /// Fades the active slots from first to last - 1, and nothing starts there afterwards.
    void StopSlots(u32 first, u32 last);

    std::vector<u32> active;
    /// The slots in use, 0 to polyphony - 1.
    std::vector<u32> allowed;
    /// Released slots in order of release; only the allocation that reuses them fills it.
    std::vector<u32> releasedOrder;
    std::array<VoiceInfo, voiceCount> voices{};
    std::array<NoteInfo, voiceCount> pendingNotes{};
    std::array<bool, voiceCount> pending{};
    /// Serial number of a slot's last assignment: tells voices of one age apart.
    std::array<u64, voiceCount> assignments{};
    u64 assignmentCount = 0;
    HeldNotes held;

    u32 polyphony = voiceCount;
    /// Slots that one note takes, 1 to the number of slots.
    u32 unison = 1;
    u64 age = 1;
    bool isMono = false;
    i32 legato = 0;
    i32 notePriority = 2;
    i32 allocation = 1;
    i32 stealMode = 0;
    bool sustain = false;
    bool sameNoteLimited = false;
    u32 sameNoteLimit = 0;
    bool ignoreChannel = true;
    bool isReturning = false;
    /// Where the search for a free slot starts.
    u32 roundRobin = 0;
};

} // namespace Velmora::engine
