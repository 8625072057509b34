// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/voices/IVoiceManager.h"

namespace Velmora::engine {

/// Whether slot 0 plays a note that has not been released, or waits to play it.
template <u32 n, class V, i32 m>
bool IVoiceManager<n, V, m>::HasMonoNote() const {
    return voices[0].active && !voices[0].released && (!voices[0].killed || pending[0]);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::NoteOnMono(const NoteInfo& note) {
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

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::RestartMono(const NoteInfo& note) {
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

template <u32 n, class V, i32 m>
bool IVoiceManager<n, V, m>::LosesToPresentNote(u8 note) const {
    const u8 present = voices[0].note.note;
    return (notePriority == 0 && note > present) || (notePriority == 1 && note < present);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::NoteOffMono(const NoteInfo& note) {
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
template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::TakeOverMono(NoteInfo note) {
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
