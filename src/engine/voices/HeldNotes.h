// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/voices/VoiceInfo.h"

#include <array>
#include <span>

namespace Velmora::engine {

/// The notes that are held, by a key or by the pedal, in order of pressing; and which keys are down at
/// present. A note that only the pedal holds is listed without being pressed.
///
/// While channels are ignored, all keys of one number are one key, which counts its presses. With channels
/// apart, each channel has a key of its own, which is down or up.
/// Every note number given must be below 128, every channel below 16.
class HeldNotes {
public:
    static constexpr u32 capacity = 128;

    void Clear();
    /// Counts the press, and lists the note unless it is listed or the list is full.
    void Press(const NoteInfo& note, bool ignoreChannel);
    /// Takes one press back.
    void Lift(const NoteInfo& note, bool ignoreChannel);
    bool Contains(const NoteInfo& note, bool ignoreChannel) const { return Find(note, ignoreChannel) >= 0; }
    void Remove(const NoteInfo& note, bool ignoreChannel);
    void ForgetPresses(u8 note);
    /// Moves the listed notes that nobody presses to `taken`, which has room for `capacity` notes, in order.
    /// Returns their number.
    u32 TakeUnpressed(std::span<NoteInfo> taken, bool ignoreChannel);

    u32 Count() const { return count; }
    bool IsPressed(const NoteInfo& note, bool ignoreChannel) const;
    /// How often each note number is pressed at present.
    std::span<const u8, 128> PressTable() const { return presses; }
    /// The channel whose key holds this note: its own, or else another that presses or is listed.
    u8 OwnerOf(const NoteInfo& note) const;
    /// From now on channels are apart: what they held together goes to the keys that are down.
    void SeparateChannels();
    bool IsAnyPressed() const;
    /// The last in order of pressing. The list must not be empty.
    const NoteInfo& Last() const { return listed[count - 1]; }

private:
    i32 Find(const NoteInfo& note, bool ignoreChannel) const;

    std::array<NoteInfo, capacity> listed{};
    u32 count = 0;
    std::array<u8, 128> presses{};
    /// The channels that press each note number, one bit each.
    std::array<u32, 128> channels{};
};

} // namespace Velmora::engine
