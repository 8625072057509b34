// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <span>
#include <vector>

namespace Velmora::engine {

class VoiceBudget;

/// The part of a voice manager that does not depend on what a voice record holds: the lists of slots, the
/// settings, and the operations that a budget over several managers needs.
///
/// Everything runs on the audio thread. All lists have their capacity from construction on.
class IVoiceManagerBase {
public:
    /// A slot, and how much its loss would be heard: a released voice costs less than any sounding one.
    struct StealCandidate {
        static constexpr u64 nothingFound = ~u64{0};
        u32 slot = 0;
        u64 cost = nothingFound;
    };

    IVoiceManagerBase(const IVoiceManagerBase&) = delete;
    IVoiceManagerBase& operator=(const IVoiceManagerBase&) = delete;

    virtual ~IVoiceManagerBase();
    /// Begins the forced fade of an active voice.
    virtual void KillVoice(u32 v) = 0;
    virtual StealCandidate FindVoiceToSteal() = 0;
    virtual u32 ActiveVoiceCount() const;
    virtual u32 CountWithOthers() const;
    /// Notes that wait for the end of a fade.
    virtual u32 PendingCount() const = 0;

    /// The active slots, ascending. Valid until the next call that changes the voices.
    std::span<const u32> ActiveVoices() const { return active; }
    /// To be called once per block: voices that start in one block share an age.
    void AdvanceAge() { ++age; }

    bool IsMono() const { return mode == monoMode; }
    i32 Legato() const { return legato; }
    u32 Polyphony() const { return polyphony; }
    u32 Unison() const { return unison; }
    bool IsSustained() const { return sustain; }

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
    /// Whether a note-off matches on the note number alone.
    void SetIgnoreChannel(bool ignore) { ignoreChannel = ignore; }

protected:
    static constexpr i32 polyMode = 0;
    static constexpr i32 monoMode = 1;

    IVoiceManagerBase(u32 voiceCount, i32 initialMode);

    /// Keeps `active` ascending and free of duplicates.
    void InsertActive(u32 v);
    void AppendReleased(u32 v);
    void ForgetReleased(u32 v);
    /// The limit must be between 1 and the number of slots.
    void SetPolyphony(u32 voices);
    u32 GroupStart(u32 v) const { return v - v % unison; }

    std::vector<u32> active;
    /// The slots in use, 0 to polyphony - 1.
    std::vector<u32> allowed;
    /// Released slots in order of release; only the allocation that reuses them fills it.
    std::vector<u32> releasedOrder;
    /// Voices outside the slots that count against a budget. Nothing fills it in this instrument.
    std::vector<u32> otherVoices;
    /// Limits the voices of several managers together; null is no limit.
    VoiceBudget* budget = nullptr;

    u32 polyphony;
    /// Slots that one note takes, 1 to the number of slots.
    u32 unison = 1;
    u64 age = 1;
    i32 mode;
    i32 legato = 0;
    i32 notePriority = 2;
    i32 allocation = 1;
    i32 stealMode = 0;
    bool sustain = false;
    bool sameNoteLimited = false;
    u32 sameNoteLimit = 0;
    bool ignoreChannel = true;
    /// Where the search for a free slot starts.
    u32 roundRobin = 0;
};

} // namespace Velmora::engine
