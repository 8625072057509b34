// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/voices/VoiceInfo.h"

#include <array>
#include <span>

namespace Velmora::engine {

/// The notes that are held, by a key or by the pedal, in order of pressing; and per note number how often it
/// is pressed at present. A note that only the pedal holds is listed with a press count of 0.
///
/// Every note number given must be below 128.
class HeldNotes {
public:
    static constexpr u32 capacity = 128;

    void Clear();
    /// Counts the press, and lists the note unless it is listed or the list is full.
    void Press(const NoteInfo& note, bool ignoreChannel);
    /// Takes one press back, and marks the note as lifted if it is listed.
    void Lift(const NoteInfo& note, bool ignoreChannel);
    bool Contains(const NoteInfo& note, bool ignoreChannel) const { return Find(note, ignoreChannel) >= 0; }
    void Remove(const NoteInfo& note, bool ignoreChannel);
    void ForgetPresses(u8 note) { presses[note] = 0; }
    /// Moves the listed notes that nobody presses to `taken`, which has room for `capacity` notes, in order;
    /// with `liftedOnly`, those whose own note-off has arrived. Returns their number.
    u32 TakeUnpressed(std::span<NoteInfo> taken, bool liftedOnly);

    u32 Count() const { return count; }
    u32 Presses(u8 note) const { return presses[note]; }
    /// The press counts of all note numbers.
    std::span<const u8, 128> PressTable() const { return presses; }
    bool IsAnyPressed() const;
    /// The last in order of pressing. The list must not be empty.
    const NoteInfo& Last() const { return listed[count - 1].note; }

private:
    struct Listed {
        NoteInfo note;
        /// Its note-off came after its last press. The press counter cannot tell: it joins the channels.
        bool lifted = false;
    };

    i32 Find(const NoteInfo& note, bool ignoreChannel) const;

    std::array<Listed, capacity> listed{};
    u32 count = 0;
    std::array<u8, 128> presses{};
};

} // namespace Velmora::engine
