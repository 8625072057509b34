// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/HeldNotes.h"

#include <algorithm>

namespace Velmora::engine {

void HeldNotes::Clear() {
    count = 0;
    presses.fill(0);
}

void HeldNotes::Press(const NoteInfo& note, bool ignoreChannel) {
    // A host that never lifts a key must not bring the counter back to 0.
    if (presses[note.note] < 255) {
        ++presses[note.note];
    }
    if (const i32 place = Find(note, ignoreChannel); place >= 0) {
        listed[static_cast<u32>(place)].lifted = false;
    } else if (count < capacity) {
        listed[count++] = {note, false};
    }
}

void HeldNotes::Lift(const NoteInfo& note, bool ignoreChannel) {
    if (presses[note.note] > 0) {
        --presses[note.note];
    }
    if (const i32 place = Find(note, ignoreChannel); place >= 0) {
        listed[static_cast<u32>(place)].lifted = true;
    }
}

i32 HeldNotes::Find(const NoteInfo& note, bool ignoreChannel) const {
    for (u32 i = 0; i < count; ++i) {
        if (listed[i].note.IsSameKey(note, ignoreChannel)) {
            return static_cast<i32>(i);
        }
    }
    return -1;
}

void HeldNotes::Remove(const NoteInfo& note, bool ignoreChannel) {
    const auto end = std::remove_if(listed.begin(), listed.begin() + count, [&](const Listed& entry) {
        return entry.note.IsSameKey(note, ignoreChannel);
    });
    count = static_cast<u32>(end - listed.begin());
}

u32 HeldNotes::TakeUnpressed(std::span<NoteInfo> taken, bool liftedOnly) {
    u32 kept = 0;
    u32 takenCount = 0;
    for (u32 i = 0; i < count; ++i) {
        const Listed entry = listed[i];
        if (presses[entry.note.note] == 0 && (entry.lifted || !liftedOnly)) {
            taken[takenCount++] = entry.note;
        } else {
            listed[kept++] = entry;
        }
    }
    count = kept;
    return takenCount;
}

bool HeldNotes::IsAnyPressed() const {
    return std::any_of(presses.begin(), presses.end(), [](u8 number) { return number != 0; });
}

} // namespace Velmora::engine
