// SPDX-License-Identifier: GPL-3.0-or-later
// Events, settings, and the end of voices.
#include "engine/voices/VoiceManager.h"

#include "engine/tuning/MtsClient.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace Velmora::engine {

VoiceManager::VoiceManager() {
    active.reserve(voiceCount);
    allowed.reserve(voiceCount);
    releasedOrder.reserve(voiceCount);
    SetPolyphony(voiceCount);
}

VoiceManager::~VoiceManager() = default;

void VoiceManager::HandleEvent(const dsp::Event& event) {
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

void VoiceManager::HandleNoteOn(const NoteInfo& note) {
    const engine::MtsClient* tuning = MtsClient();
    if (tuning != nullptr && tuning->ShouldFilterNote(note.note, note.channel)) {
        return;
    }
    held.Press(note, ignoreChannel);
    NoteOn(note);
}

void VoiceManager::HandleNoteOff(const NoteInfo& note) {
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
}

void VoiceManager::SetSustain(bool down) {
    if (sustain && !down) {
        ReleaseUnpressed();
    }
    sustain = down;
}

/// All of them leave the list before the first is released: none may take the mono voice over.
void VoiceManager::ReleaseUnpressed() {
    std::array<NoteInfo, HeldNotes::capacity> taken;
    const u32 count = held.TakeUnpressed(taken, ignoreChannel);
    for (u32 i = 0; i < count; ++i) {
        NoteOff({taken[i].note, 0, taken[i].channel});
    }
}

void VoiceManager::SetIgnoreChannel(bool ignore) {
    if (ignoreChannel && !ignore) {
        for (u32 v = 0; v < voiceCount; ++v) {
            voices[v].note.channel = held.OwnerOf(voices[v].note);
            pendingNotes[v].channel = held.OwnerOf(pendingNotes[v]);
        }
        held.SeparateChannels();
    }
    ignoreChannel = ignore;
}

void VoiceManager::LiftAllKeys() {
    for (u8 note = 0; note < held.PressTable().size(); ++note) {
        while (held.PressTable()[note] != 0) {
            HandleNoteOff({note, 0, held.OwnerOf({note})});
        }
    }
    // Whatever the counters say, what the pedal does not hold ends.
    for (u32 v = 0; v < voiceCount; ++v) {
        if (pending[v] && !held.Contains(pendingNotes[v], ignoreChannel)) {
            pending[v] = false;
        }
        if (IsHeld(v) && !held.Contains(voices[v].note, ignoreChannel)) {
            ReleaseVoice(v);
        }
    }
}

void VoiceManager::SetPolyphonyMode(i32 newMode, std::span<const u32> table) {
    if (newMode == 0 || newMode == 1) {
        EnterMono();
        legato = newMode;
    } else if (newMode > 1 && static_cast<std::size_t>(newMode) < table.size()) {
        EnterPoly(std::clamp(table[static_cast<std::size_t>(newMode)], 1U, voiceCount));
    }
}

void VoiceManager::EnterMono() {
    if (!IsMono()) {
        StopSlots(0, voiceCount);
    }
    isMono = true;
}

void VoiceManager::EnterPoly(u32 newPolyphony) {
    if (IsMono() && unison > 1) {
        StopSlots(0, unison);
    }
    isMono = false;
    if (newPolyphony < polyphony) {
        StopSlots(newPolyphony, voiceCount);
        std::erase_if(releasedOrder, [newPolyphony](u32 v) { return v >= newPolyphony; });
    }
    SetPolyphony(newPolyphony);
}

void VoiceManager::SetUnison(u32 slots) {
    const u32 newUnison = std::clamp(slots, 1U, voiceCount);
    if (newUnison != unison) {
        StopSlots(0, voiceCount);
        releasedOrder.clear();
    }
    unison = newUnison;
}

void VoiceManager::StopSlots(u32 first, u32 last) {
    for (u32 v = first; v < last; ++v) {
        pending[v] = false;
        if (voices[v].active) {
            KillVoice(v);
        }
    }
}

bool VoiceManager::IsHeld(u32 v) const {
    return voices[v].active && !voices[v].released && !voices[v].killed;
}

i32 VoiceManager::NewestHeldVoice(i32 except) const {
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

i32 VoiceManager::FindVoice(u8 note, u8 channel) const {
    const NoteInfo wanted{note, 0, channel};
    if (IsMono()) {
        return HasMonoNote() && voices[0].note.IsSameKey(wanted, false) ? 0 : none;
    }
    const auto found = std::find_if(active.begin(), active.end(), [&](u32 v) {
        return IsHeld(v) && voices[v].note.IsSameKey(wanted, false);
    });
    return found == active.end() ? none : static_cast<i32>(*found);
}

void VoiceManager::KillVoice(u32 v) {
    OnVoiceKilled(v);
    voices[v].killed = true;
}

u32 VoiceManager::PendingCount() const {
    return static_cast<u32>(std::count(pending.begin(), pending.end(), true));
}

void VoiceManager::ResetAll() {
    active.clear();
    releasedOrder.clear();
    roundRobin = 0;
    voices.fill({});
    pending.fill(false);
    held.Clear();
}

bool VoiceManager::IsWaiting(const NoteInfo& note) const {
    for (u32 v = 0; v < voiceCount; ++v) {
        if (pending[v] && pendingNotes[v].IsSameKey(note, ignoreChannel)) {
            return true;
        }
    }
    return false;
}

void VoiceManager::NoteOn(const NoteInfo& note) {
    isReturning = false;
    IsMono() ? NoteOnMono(note) : NoteOnPoly(note);
}

void VoiceManager::NoteOff(const NoteInfo& note) { IsMono() ? NoteOffMono(note) : NoteOffPoly(note); }

void VoiceManager::ReapVoices() {
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

void VoiceManager::Reap(u32 v) {
    voices[v].active = false;
    voices[v].killed = false;
    OnVoiceFinished(v);
    const NoteInfo next = pendingNotes[v];
    // A tap may be over before the fade is, and held by the pedal since.
    const bool isHeld = held.IsPressed(next, ignoreChannel) || held.Contains(next, ignoreChannel);
    if (pending[v] && isHeld) {
        AssignVoice(v, next, false);
    } else {
        pending[v] = false;
    }
}

void VoiceManager::SetSameNoteLimit(bool enabled, u32 limit) {
    sameNoteLimited = enabled;
    sameNoteLimit = limit;
}

void VoiceManager::InsertActive(u32 v) {
    const auto place = std::lower_bound(active.begin(), active.end(), v);
    if (place == active.end() || *place != v) {
        active.insert(place, v);
    }
}

void VoiceManager::SetPolyphony(u32 newPolyphony) {
    polyphony = newPolyphony;
    allowed.resize(newPolyphony);
    std::iota(allowed.begin(), allowed.end(), 0U);
}

} // namespace Velmora::engine
