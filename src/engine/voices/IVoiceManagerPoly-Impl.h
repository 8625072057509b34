// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/voices/IVoiceManager.h"

#include <algorithm>

namespace Velmora::engine {

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::NoteOnPoly(const NoteInfo& note) {
    if (allocation == 2 && ReuseReleased(note)) {
        return;
    }
    if (allocation == 1 || allocation == 2) {
        if (const i32 ringing = FindRinging(note.note); ringing != none) {
            return TakeGroup(static_cast<u32>(ringing), note);
        }
    }
    if (const i32 former = FindFormerSlot(note.note); former != none) {
        --roundRobin;
        return AssignGroup(static_cast<u32>(former), note, false);
    }
    if (const i32 oldest = FindOverLimit(note.note); oldest != none) {
        return TakeGroup(static_cast<u32>(oldest), note);
    }
    if (const i32 free = FindFree(); free != none) {
        return AssignGroup(static_cast<u32>(free), note, false);
    }
    NoteOnByStealing(note);
}

template <u32 n, class V, i32 m>
bool IVoiceManager<n, V, m>::ReuseReleased(const NoteInfo& note) {
    if (releasedOrder.empty()) {
        return false;
    }
    const u32 v = GroupStart(releasedOrder.back());
    if (voices[v].active) {
        TakeGroup(v, note);
    } else {
        AssignGroup(v, note, false);
    }
    return true;
}

/// The same note struck again takes its own slot, not a second one.
template <u32 n, class V, i32 m>
i32 IVoiceManager<n, V, m>::FindRinging(u8 note) const {
    for (const u32 v : active) {
        if (voices[v].note.note == note && !voices[v].killed) {
            return static_cast<i32>(v);
        }
    }
    return none;
}

template <u32 n, class V, i32 m>
i32 IVoiceManager<n, V, m>::FindFormerSlot(u8 note) const {
    for (const u32 v : allowed) {
        if (voices[v].lastNote == note && IsGroupFree(v)) {
            return static_cast<i32>(v);
        }
    }
    return none;
}

/// The oldest voice on this note when there are too many of them. One that fades for another note is no
/// choice: that note would be lost.
template <u32 n, class V, i32 m>
i32 IVoiceManager<n, V, m>::FindOverLimit(u8 note) const {
    if (!sameNoteLimited || sameNoteLimit == 0) {
        return none;
    }
    u32 count = 0;
    i32 oldest = none;
    for (const u32 v : active) {
        if (voices[v].note.note != note) {
            continue;
        }
        ++count;
        const bool isPromised = pending[v] && pendingNotes[v].note != note;
        if (v < polyphony && !isPromised &&
            (oldest == none || voices[v].age < voices[static_cast<u32>(oldest)].age)) {
            oldest = static_cast<i32>(v);
        }
    }
    return count >= sameNoteLimit ? oldest : none;
}

template <u32 n, class V, i32 m>
i32 IVoiceManager<n, V, m>::FindFree() const {
    for (u32 i = 0; i < polyphony; ++i) {
        const u32 v = GroupStart(static_cast<u32>((u64{i} + roundRobin) % polyphony));
        if (IsGroupFree(v)) {
            return static_cast<i32>(v);
        }
    }
    return none;
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::NoteOnByStealing(const NoteInfo& note) {
    const StealCandidate candidate = FindVoiceToSteal();
    u32 v = candidate.slot;
    if (candidate.cost == StealCandidate::nothingFound && pending[v]) {
        // Everything fades: a slot that fades for nobody is better than one that is promised.
        if (const i32 fading = FindFadingWithoutNote(); fading != none) {
            v = static_cast<u32>(fading);
        }
    }
    TakeGroup(FitsGroup(v) ? v : 0, note);
}

template <u32 n, class V, i32 m>
i32 IVoiceManager<n, V, m>::FindFadingWithoutNote() const {
    for (const u32 v : allowed) {
        if (voices[v].killed && !pending[v]) {
            return static_cast<i32>(v);
        }
    }
    return none;
}

template <u32 n, class V, i32 m>
IVoiceManagerBase::StealCandidate IVoiceManager<n, V, m>::FindVoiceToSteal() {
    // More than any age reaches.
    constexpr u64 soundingCost = u64{1} << 51U;
    StealCandidate released;
    StealCandidate sounding;
    for (const u32 v : allowed) {
        const VoiceInfo& voice = voices[v];
        if (!voice.active || voice.killed || pending[v]) {
            continue;
        }
        if (voice.age + soundingCost < sounding.cost) {
            sounding = {v, voice.age + soundingCost};
        }
        const bool sameGroup =
            released.cost != StealCandidate::nothingFound && GroupStart(v) == GroupStart(released.slot);
        if (voice.released && voice.age < released.cost && !sameGroup) {
            released = {v, voice.age};
        }
    }
    return released.cost != StealCandidate::nothingFound ? released : sounding;
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::NoteOffPoly(const NoteInfo& note) {
    bool matched = false;
    for (u32 v = 0; v < n; ++v) {
        if (IsHeld(v) && voices[v].note.IsSameKey(note, ignoreChannel)) {
            ReleasePlaying(v, note);
            matched = true;
        }
    }
    // After a match the note may wait on a second slot for another press of its key, if there is one.
    if (!matched || held.Presses(note.note) == 0) {
        ClearPending(0, n, note);
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::ReleasePlaying(u32 v, const NoteInfo& note) {
    voices[v].note.velocity = note.velocity;
    ReleaseVoice(v);
    // Slots of the group whose fade lasts longer wait for this very note.
    ClearPending(GroupStart(v), GroupEnd(v), note);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::ClearPending(u32 first, u32 last, const NoteInfo& note) {
    for (u32 v = first; v < last; ++v) {
        if (pending[v] && pendingNotes[v].IsSameKey(note, ignoreChannel)) {
            pending[v] = false;
        }
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::ReleaseVoice(u32 v) {
    ReleaseVoiceHook(v);
    voices[v].released = true;
    if (allocation == 2) {
        AppendReleased(v);
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::KillOldest(u32 count) {
    for (u32 i = 0; i < count; ++i) {
        const StealCandidate candidate = FindVoiceToSteal();
        if (candidate.cost == StealCandidate::nothingFound) {
            return;
        }
        // The whole note: the rest of a group would go on without its first slot.
        StopSlots(GroupStart(candidate.slot), GroupEnd(candidate.slot));
    }
}

} // namespace Velmora::engine
