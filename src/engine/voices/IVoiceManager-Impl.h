// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/tuning/MtsClient.h"
#include "engine/voices/IVoiceManager.h"

#include <algorithm>
#include <cstddef>

namespace Velmora::engine {

template <u32 n, class V, i32 m>
IVoiceManager<n, V, m>::IVoiceManager() : IVoiceManagerBase(n, m) {}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::HandleEvent(const dsp::Event& event) {
    const u32 status = event.midi[0] & 0xF0U;
    if ((status != 0x80U && status != 0x90U) || event.midi[1] > 127) {
        return;
    }
    const NoteInfo note{event.midi[1], static_cast<u8>(event.midi[2] & 127U),
                        static_cast<u8>(event.midi[0] & 0x0FU)};
    if (status == 0x90U && note.velocity > 0) {
        HandleNoteOn(note);
    } else {
        HandleNoteOff(note);
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::HandleNoteOn(const NoteInfo& note) {
    const engine::MtsClient* tuning = MtsClient();
    if (tuning != nullptr && tuning->ShouldFilterNote(note.note, note.channel)) {
        return;
    }
    held.Press(note, ignoreChannel);
    NoteOn(note);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::HandleNoteOff(const NoteInfo& note) {
    held.Lift(note, ignoreChannel);
    // The pedal can only hold what is listed: any other note would never be let go.
    if (sustain && held.Contains(note, ignoreChannel)) {
        return;
    }
    held.Remove(note, ignoreChannel);
    if (ignoreChannel && !sustain) {
        // The note ends, whatever the counter says: a press whose end got lost must not revive it.
        held.ForgetPresses(note.note);
    }
    NoteOff(note);
    if (!sustain) {
        // A channel that was lifted under the pedal, while another one still pressed the same note number.
        ReleaseUnpressed(true);
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::SetSustain(bool down) {
    const bool lifted = sustain && !down;
    sustain = down;
    if (lifted) {
        ReleaseUnpressed(false);
    }
}

/// All of them leave the list before the first is released: none may take the mono voice over.
template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::ReleaseUnpressed(bool liftedOnly) {
    std::array<NoteInfo, HeldNotes::capacity> taken;
    const u32 count = held.TakeUnpressed(taken, liftedOnly);
    for (u32 i = 0; i < count; ++i) {
        NoteOff({taken[i].note, 0, taken[i].channel});
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::SetPolyphonyMode(i32 newMode, std::span<const u32> table) {
    if (newMode == 0 || newMode == 1) {
        EnterMono();
        legato = newMode;
    } else if (newMode > 1 && static_cast<std::size_t>(newMode) < table.size()) {
        EnterPoly(std::clamp(table[static_cast<std::size_t>(newMode)], 1U, n));
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::EnterMono() {
    if (!IsMono()) {
        StopSlots(0, n);
    }
    mode = monoMode;
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::EnterPoly(u32 newPolyphony) {
    if (IsMono() && unison > 1) {
        StopSlots(0, unison);
    }
    mode = polyMode;
    if (newPolyphony < polyphony) {
        StopSlots(newPolyphony, n);
        std::erase_if(releasedOrder, [newPolyphony](u32 v) { return v >= newPolyphony; });
    }
    SetPolyphony(newPolyphony);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::SetUnison(u32 slots) {
    const u32 newUnison = std::clamp(slots, 1U, n);
    if (newUnison != unison) {
        StopSlots(0, n);
        releasedOrder.clear();
    }
    unison = newUnison;
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::StopSlots(u32 first, u32 last) {
    for (u32 v = first; v < last; ++v) {
        pending[v] = false;
        if (voices[v].active) {
            KillVoice(v);
        }
    }
}

template <u32 n, class V, i32 m>
bool IVoiceManager<n, V, m>::IsHeld(u32 v) const {
    return voices[v].active && !voices[v].released && !voices[v].killed;
}

template <u32 n, class V, i32 m>
i32 IVoiceManager<n, V, m>::NewestHeldVoice(i32 except) const {
    i32 newest = none;
    u64 newestAssignment = 0;
    // The ages rise with the assignments, so these alone give the order.
    for (const u32 v : active) {
        if (static_cast<i32>(v) != except && IsHeld(v) && assignments[v] > newestAssignment) {
            newestAssignment = assignments[v];
            newest = static_cast<i32>(v);
        }
    }
    return newest;
}

template <u32 n, class V, i32 m>
i32 IVoiceManager<n, V, m>::FindVoice(u8 note, u8 channel) const {
    const NoteInfo wanted{note, 0, channel};
    if (IsMono()) {
        return HasMonoNote() && voices[0].note.IsSameKey(wanted, false) ? 0 : none;
    }
    const auto found = std::find_if(active.begin(), active.end(), [&](u32 v) {
        return IsHeld(v) && voices[v].note.IsSameKey(wanted, false);
    });
    return found == active.end() ? none : static_cast<i32>(*found);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::KillVoice(u32 v) {
    OnVoiceKilled(v);
    voices[v].killed = true;
}

template <u32 n, class V, i32 m>
u32 IVoiceManager<n, V, m>::PendingCount() const {
    return static_cast<u32>(otherVoices.size()) +
           static_cast<u32>(std::count(pending.begin(), pending.end(), true));
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::ResetAll() {
    active.clear();
    releasedOrder.clear();
    roundRobin = 0;
    voices.fill(V{});
    pending.fill(false);
    held.Clear();
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::NoteOn(const NoteInfo& note) {
    IsMono() ? NoteOnMono(note) : NoteOnPoly(note);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::NoteOff(const NoteInfo& note) {
    IsMono() ? NoteOffMono(note) : NoteOffPoly(note);
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::ReapVoices() {
    std::size_t i = 0;
    while (i < active.size()) {
        const u32 v = active[i];
        if (CanKill(v)) {
            Reap(v);
        }
        if (voices[v].active) {
            ++i;
        } else {
            active.erase(active.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

template <u32 n, class V, i32 m>
void IVoiceManager<n, V, m>::Reap(u32 v) {
    voices[v].active = false;
    voices[v].killed = false;
    OnVoiceFinished(v);
    const NoteInfo next = pendingNotes[v];
    if (pending[v] && held.Presses(next.note) != 0) {
        AssignVoice(v, next, false);
    } else {
        pending[v] = false;
    }
}

} // namespace Velmora::engine
