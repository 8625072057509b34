// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::engine {

/// Voices that keys can start.
constexpr u32 voiceCount = 32;

/// One note event, or what is remembered of it. Note and velocity are 0 to 127, the channel is 0 to 15.
struct NoteInfo {
    u8 note = 0;
    /// Of the press; once the voice is released, of the release.
    u8 velocity = 0;
    u8 channel = 0;

    /// The same key: the same note number, on the same channel unless channels are ignored.
    bool IsSameKey(const NoteInfo& other, bool ignoreChannel) const {
        return note == other.note && (ignoreChannel || channel == other.channel);
    }
};

/// What the voice manager knows of one voice slot. A default object is a slot that never played.
struct VoiceInfo {
    static constexpr u8 neverPlayed = 255;

    NoteInfo note{};
    /// The slot is sounding, or fading.
    bool active = false;
    /// The manager's age counter when the slot was assigned; a smaller one is older.
    u64 age = ~u64{0};
    /// The note-off has arrived.
    bool released = false;
    /// The voice is being faded by force.
    bool killed = false;
    /// Note number that this slot played last.
    u8 lastNote = neverPlayed;
};

} // namespace Velmora::engine
