// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/HeldNotes.h"

#include <algorithm>
#include <bit>

namespace Velmora::engine {

namespace {

u32 Bit(u8 channel) { return 1U << channel; }

} // namespace

void HeldNotes::Clear() {
    count = 0;
    presses.fill(0);
    channels.fill(0);
}

void HeldNotes::Press(const NoteInfo& note, bool ignoreChannel) {
    u32& pressing = channels[note.note];
    pressing |= Bit(note.channel);
    // A host that never lifts a key must not bring the counter back to 0.
    const int number = ignoreChannel ? presses[note.note] + 1 : std::popcount(pressing);
    presses[note.note] = static_cast<u8>(std::min(number, 255));
    if (count < capacity && !Contains(note, ignoreChannel)) {
        listed[count++] = note;
    }
}

void HeldNotes::Lift(const NoteInfo& note, bool ignoreChannel) {
    u32& pressing = channels[note.note];
    pressing &= ~Bit(note.channel);
    const int number = ignoreChannel ? presses[note.note] - 1 : std::popcount(pressing);
    presses[note.note] = static_cast<u8>(std::max(number, 0));
}

void HeldNotes::ForgetPresses(u8 note) {
    presses[note] = 0;
    channels[note] = 0;
}

i32 HeldNotes::Find(const NoteInfo& note, bool ignoreChannel) const {
    for (u32 i = 0; i < count; ++i) {
        if (listed[i].IsSameKey(note, ignoreChannel)) {
            return static_cast<i32>(i);
        }
    }
    return -1;
}

void HeldNotes::Remove(const NoteInfo& note, bool ignoreChannel) {
    const auto end = std::remove_if(listed.begin(), listed.begin() + count, [&](const NoteInfo& entry) {
        return entry.IsSameKey(note, ignoreChannel);
    });
    count = static_cast<u32>(end - listed.begin());
}

u32 HeldNotes::TakeUnpressed(std::span<NoteInfo> taken, bool ignoreChannel) {
    u32 kept = 0;
    u32 takenCount = 0;
    for (u32 i = 0; i < count; ++i) {
        const NoteInfo entry = listed[i];
        if (IsPressed(entry, ignoreChannel)) {
            listed[kept++] = entry;
        } else {
            taken[takenCount++] = entry;
        }
    }
    count = kept;
    return takenCount;
}

bool HeldNotes::IsPressed(const NoteInfo& note, bool ignoreChannel) const {
    return ignoreChannel ? presses[note.note] != 0 : (channels[note.note] & Bit(note.channel)) != 0;
}

u8 HeldNotes::OwnerOf(const NoteInfo& note) const {
    const u32 pressing = channels[note.note];
    if (pressing != 0) {
        return (pressing & Bit(note.channel)) != 0 ? note.channel
                                                   : static_cast<u8>(std::countr_zero(pressing));
    }
    const i32 place = Find(note, true);
    return place >= 0 ? listed[static_cast<u32>(place)].channel : note.channel;
}

void HeldNotes::SeparateChannels() {
    for (u32 i = 0; i < count; ++i) {
        listed[i].channel = OwnerOf(listed[i]);
    }
    std::transform(channels.begin(), channels.end(), presses.begin(),
                   [](u32 pressing) { return static_cast<u8>(std::popcount(pressing)); });
}

bool HeldNotes::IsAnyPressed() const {
    return std::any_of(presses.begin(), presses.end(), [](u8 number) { return number != 0; });
}

} // namespace Velmora::engine
