// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "engine/voices/HeldNotes.h"
#include "engine/voices/IVoiceManagerBase.h"
#include "engine/voices/NoteInfo.h"
#include "engine/voices/VoiceInfoT.h"

#include <array>
#include <span>

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
/// HandleEvent is checked there.
template <u32 voiceCount, class VoiceInfoType, i32 initialMode>
class IVoiceManager : public IVoiceManagerBase {
public:
    using VoiceInfo = VoiceInfoType;

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
    /// The voice assigned last of those whose note is held, apart from `except`; -1 for none.
    i32 NewestHeldVoice(i32 except = -1) const;
    /// The voice whose held note this is, on exactly this channel; -1 for none.
    i32 FindVoice(u8 note, u8 channel) const;

    void KillVoice(u32 v) override;
    StealCandidate FindVoiceToSteal() override;
    u32 PendingCount() const override;

protected:
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

public:
    /// Forgets all voices and notes at once, without any hook. Settings and pedal stay.
    virtual void ResetAll();
    virtual void NoteOn(const NoteInfo& note);
    virtual void NoteOnPoly(const NoteInfo& note);
    virtual void NoteOnMono(const NoteInfo& note);
    virtual void NoteOnByStealing(const NoteInfo& note);
    virtual void NoteOff(const NoteInfo& note);
    virtual void NoteOffPoly(const NoteInfo& note);
    virtual void NoteOffMono(const NoteInfo& note);
    virtual void AssignVoice(u32 v, const NoteInfo& note, bool stealing);
    virtual void AssignGroup(u32 v, const NoteInfo& note, bool stealing);
    virtual void ReleaseVoice(u32 v);
    /// To be called once per block: frees the slots that have become silent and starts the notes that waited
    /// for them, if their keys are still down.
    virtual void ReapVoices();
    /// Fades up to n notes, the cheapest first.
    virtual void KillOldest(u32 n);

    /// How often each note number is pressed at present; the keys kept from the voices count too.
    std::span<const u8, 128> PressTable() const { return held.PressTable(); }

protected:
    IVoiceManager();

    /// For notes that the owner keeps from the voices: such a key neither counts as held nor takes the mono
    /// voice over.
    void ForgetHeldNote(const NoteInfo& note) { held.Remove(note, ignoreChannel); }

private:
    static constexpr i32 none = -1;

    void HandleNoteOn(const NoteInfo& note);
    void HandleNoteOff(const NoteInfo& note);
    void ReleaseUnpressed(bool liftedOnly);

    u32 GroupEnd(u32 v) const;
    bool FitsGroup(u32 v) const { return GroupStart(v) + unison <= voiceCount; }
    bool IsGroupFree(u32 v) const;
    bool IsHeld(u32 v) const;
    i32 FindRinging(u8 note) const;
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

    void EnterMono();
    void EnterPoly(u32 newPolyphony);
    /// Fades the active slots from first to last - 1, and nothing starts there afterwards.
    void StopSlots(u32 first, u32 last);

    std::array<VoiceInfo, voiceCount> voices{};
    std::array<NoteInfo, voiceCount> pendingNotes{};
    std::array<bool, voiceCount> pending{};
    /// Serial number of a slot's last assignment: tells voices of one age apart.
    std::array<u64, voiceCount> assignments{};
    u64 assignmentCount = 0;
    HeldNotes held;
};

extern template class IVoiceManager<32, VoiceInfoT<NoteInfo>, 0>;

} // namespace Velmora::engine
