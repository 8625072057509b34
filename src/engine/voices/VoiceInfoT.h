// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::engine {

/// What the voice manager knows of one voice slot. A default object is a slot that never played.
template <class NoteType>
struct VoiceInfoT {
    static constexpr u8 neverPlayed = 255;

    NoteType note{};
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
