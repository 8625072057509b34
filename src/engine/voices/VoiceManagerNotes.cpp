// SPDX-License-Identifier: GPL-3.0-or-later
// Which slots a note takes: groups of unison, several voices, one voice.
#include "engine/voices/VoiceManager.h"

#include <algorithm>

namespace Velmora::engine {

u32 VoiceManager::GroupEnd(u32 v) const { return std::min(GroupStart(v) + unison, voiceCount); }

/// Its slots may have become silent at different times, so one free slot says nothing.
bool VoiceManager::IsGroupFree(u32 v) const {
    if (!FitsGroup(v)) {
        return false;
    }
    const auto first = voices.begin() + GroupStart(v);
    return std::none_of(first, first + unison, [](const VoiceInfo& voice) { return voice.active; });
}

void VoiceManager::TakeGroup(u32 v, const NoteInfo& note) {
    if (stealMode != 0) {
        AssignGroup(v, note, true);
    } else {
        QueueGroup(v, note);
    }
}

void VoiceManager::AssignGroup(u32 v, const NoteInfo& note, bool stealing) {
    const u32 end = GroupEnd(v);
    for (u32 u = GroupStart(v); u < end; ++u) {
        // A fade that has begun cannot be called back: a note put on it now would fade along.
        if (voices[u].active && voices[u].killed) {
            Queue(u, note);
        } else {
            AssignVoice(u, note, stealing);
            ++roundRobin;
        }
    }
}

void VoiceManager::AssignVoice(u32 v, const NoteInfo& note, bool stealing) {
    VoiceInfo& voice = voices[v];
    // A slot whose group sounds but which itself has ended has nothing to go on with.
    const bool goesOn = stealing && voice.active;
    voice.note = note;
    voice.active = true;
    voice.age = age;
    voice.released = false;
    voice.killed = false;
    voice.lastNote = note.note;
    pending[v] = false;
    assignments[v] = ++assignmentCount;
    InsertActive(v);
    std::erase(releasedOrder, v);
    StartVoice(v, note, goesOn);
}

void VoiceManager::QueueGroup(u32 v, const NoteInfo& note) {
    const u32 end = GroupEnd(v);
    for (u32 u = GroupStart(v); u < end; ++u) {
        Queue(u, note);
    }
}

/// Fades the slot for a note that starts there afterwards.
void VoiceManager::Queue(u32 v, const NoteInfo& note) {
    if (!voices[v].active) {
        // Nothing fades here, so nothing would ever start the note.
        AssignVoice(v, note, false);
        return;
    }
    KillVoice(v);
    pendingNotes[v] = note;
    pending[v] = true;
    // A second note must not take the slot that this one was promised.
    std::erase(releasedOrder, v);
    if (IsMono()) {
        // Priority and note-off mean the note to come, not the one that fades.
        voices[v].note = note;
        voices[v].released = false;
    }
}

void VoiceManager::NoteOnPoly(const NoteInfo& note) {
    if (allocation == 2 && ReuseReleased(note)) {
        return;
    }
    if (allocation == 1 || allocation == 2) {
        if (const i32 ringing = FindRinging(note); ringing != none) {
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

bool VoiceManager::ReuseReleased(const NoteInfo& note) {
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
i32 VoiceManager::FindRinging(const NoteInfo& note) const {
    for (const u32 v : active) {
        if (voices[v].note.IsSameKey(note, ignoreChannel) && !voices[v].killed) {
            return static_cast<i32>(v);
        }
    }
    return none;
}

i32 VoiceManager::FindFormerSlot(u8 note) const {
    for (const u32 v : allowed) {
        if (voices[v].lastNote == note && IsGroupFree(v)) {
            return static_cast<i32>(v);
        }
    }
    return none;
}

/// The oldest voice on this note when there are too many of them. One that fades for another note is no
/// choice: that note would be lost.
i32 VoiceManager::FindOverLimit(u8 note) const {
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

i32 VoiceManager::FindFree() const {
    for (u32 i = 0; i < polyphony; ++i) {
        const u32 v = GroupStart(static_cast<u32>((u64{i} + roundRobin) % polyphony));
        if (IsGroupFree(v)) {
            return static_cast<i32>(v);
        }
    }
    return none;
}

void VoiceManager::NoteOnByStealing(const NoteInfo& note) {
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

i32 VoiceManager::FindFadingWithoutNote() const {
    for (const u32 v : allowed) {
        if (voices[v].killed && !pending[v]) {
            return static_cast<i32>(v);
        }
    }
    return none;
}

VoiceManager::StealCandidate VoiceManager::FindVoiceToSteal() const {
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

void VoiceManager::NoteOffPoly(const NoteInfo& note) {
    bool matched = false;
    for (u32 v = 0; v < voiceCount; ++v) {
        if (IsHeld(v) && voices[v].note.IsSameKey(note, ignoreChannel)) {
            ReleasePlaying(v, note);
            matched = true;
        }
    }
    // After a match the note may wait on a second slot for another press of its key, if there is one.
    if (!matched || !held.IsPressed(note, ignoreChannel)) {
        ClearPending(0, voiceCount, note);
    }
}

void VoiceManager::ReleasePlaying(u32 v, const NoteInfo& note) {
    voices[v].note.velocity = note.velocity;
    ReleaseVoice(v);
    // Slots of the group whose fade lasts longer wait for this very note.
    ClearPending(GroupStart(v), GroupEnd(v), note);
}

void VoiceManager::ClearPending(u32 first, u32 last, const NoteInfo& note) {
    for (u32 v = first; v < last; ++v) {
        if (pending[v] && pendingNotes[v].IsSameKey(note, ignoreChannel)) {
            pending[v] = false;
        }
    }
}

void VoiceManager::ReleaseVoice(u32 v) {
    ReleaseVoiceHook(v);
    voices[v].released = true;
    if (allocation == 2) {
        if (std::find(releasedOrder.begin(), releasedOrder.end(), v) == releasedOrder.end()) {
            releasedOrder.push_back(v);
        }
    }
}

/// Whether slot 0 plays a note that has not been released, or waits to play it.
bool VoiceManager::HasMonoNote() const {
    return voices[0].active && !voices[0].released && (!voices[0].killed || pending[0]);
}

void VoiceManager::NoteOnMono(const NoteInfo& note) {
    if (!voices[0].active) {
        AssignGroup(0, note, false);
    } else if (!HasMonoNote()) {
        RestartMono(note);
    } else if (!LosesToPresentNote(note.note)) {
        if (legato == 1) {
            AssignGroup(0, note, true);
        } else {
            QueueGroup(0, note);
        }
    }
}

void VoiceManager::RestartMono(const NoteInfo& note) {
    for (u32 u = 0; u < GroupEnd(0); ++u) {
        if (!voices[u].active || CanKill(u)) {
            AssignVoice(u, note, false);
            ++roundRobin;
        } else if (stealMode != 0 && !voices[u].killed) {
            AssignVoice(u, note, true);
            ++roundRobin;
        } else {
            Queue(u, note);
        }
    }
}

bool VoiceManager::LosesToPresentNote(u8 note) const {
    const u8 present = voices[0].note.note;
    return (notePriority == 0 && note > present) || (notePriority == 1 && note < present);
}

void VoiceManager::NoteOffMono(const NoteInfo& note) {
    if (!HasMonoNote() || !voices[0].note.IsSameKey(note, ignoreChannel)) {
        // Another slot of the group may hold the note alone, if it waited for it a shorter time.
        NoteOffPoly(note);
        return;
    }
    if (held.Count() > 0 && held.IsAnyPressed()) {
        TakeOverMono(held.Last());
        return;
    }
    for (u32 u = 0; u < GroupEnd(0); ++u) {
        pending[u] = false;
        if (voices[u].active) {
            voices[u].note.velocity = note.velocity;
            ReleaseVoice(u);
        }
    }
}

/// The voice returns to a key that is still down.
void VoiceManager::TakeOverMono(NoteInfo note) {
    isReturning = true;
    for (u32 u = 0; u < GroupEnd(0); ++u) {
        if (legato == 1 && voices[u].active && !voices[u].killed) {
            voices[u].note = note;
            voices[u].lastNote = note.note;
            StartVoice(u, note, true);
        } else {
            Queue(u, note);
        }
    }
}

} // namespace Velmora::engine
