// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/voices/IVoiceManager.h"

#include <algorithm>

namespace Velmora::engine {

template <u32 n, class V, i32 m>
u32 IVoiceManager<n, V, m>::GroupEnd(u32 v) const {
    return std::min(GroupStart(v) + unison, n);
}

/// Its slots may have become silent at different times, so one free slot says nothing.
template <u32 n, class V, i32 m>
bool IVoiceManager<n, V, m>::IsGroupFree(u32 v) const {
    if (!FitsGroup(v)) {
        return false;
    }
    const auto first = voices.begin() + GroupStart(v);
    return std::none_of(first, first + unison, [](const VoiceInfo& voice) { return voice.active; });
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::TakeGroup(u32 v, const NoteInfo& note) {
    if (stealMode != 0) {
        AssignGroup(v, note, true);
    } else {
        QueueGroup(v, note);
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::AssignGroup(u32 v, const NoteInfo& note, bool stealing) {
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

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::AssignVoice(u32 v, const NoteInfo& note, bool stealing) {
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
    ForgetReleased(v);
    StartVoice(v, note, goesOn);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::QueueGroup(u32 v, const NoteInfo& note) {
    const u32 end = GroupEnd(v);
    for (u32 u = GroupStart(v); u < end; ++u) {
        Queue(u, note);
    }
}

/// Fades the slot for a note that starts there afterwards.
template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::Queue(u32 v, const NoteInfo& note) {
    if (!voices[v].active) {
        // Nothing fades here, so nothing would ever start the note.
        AssignVoice(v, note, false);
        return;
    }
    KillVoice(v);
    pendingNotes[v] = note;
    pending[v] = true;
    // A second note must not take the slot that this one was promised.
    ForgetReleased(v);
    if (IsMono()) {
        // Priority and note-off mean the note to come, not the one that fades.
        voices[v].note = note;
        voices[v].released = false;
    }
}

} // namespace Velmora::engine
