// SPDX-License-Identifier: GPL-3.0-or-later
// Sets of notes, and events read as notes.
#pragma once

#include "dsp/framework/EventQueue.h"
#include "support/platform/Types.h"

#include <array>
#include <bit>
#include <limits>
#include <stdexcept>

namespace Velmora::engine {

/// A set of the 128 note numbers, one bit each. Set, Clear and Contains throw std::out_of_range for a number
/// above 127: the audio path checks its numbers first.
class NoteSet {
public:
    static constexpr u32 size = 128;

    void Set(u32 note) { WordOf(note) |= Bit(note); }
    void Clear(u32 note) { WordOf(note) &= ~Bit(note); }
    bool Contains(u32 note) const { return (words[WordIndex(note)] & Bit(note)) != 0; }

    void Clear() { words = {}; }
    bool IsEmpty() const { return (words[0] | words[1]) == 0; }

    /// The lowest member that is not below `from`; `size` when there is none. A walk through the set with it
    /// may change the set.
    u32 Next(u32 from) const {
        for (; from < size; from = (from / wordBits + 1) * wordBits) {
            const u64 rest = words[from / wordBits] >> (from % wordBits);
            if (rest != 0) {
                return from + static_cast<u32>(std::countr_zero(rest));
            }
        }
        return size;
    }

private:
    static constexpr u32 wordBits = 64;

    static u64 Bit(u32 note) { return u64{1} << (note % wordBits); }
    static u32 WordIndex(u32 note) {
        if (note >= size) {
            throw std::out_of_range("invalid bitset position");
        }
        return note / wordBits;
    }
    u64& WordOf(u32 note) { return words[WordIndex(note)]; }

    std::array<u64, size / wordBits> words{};
};

/// The notes that were started and did not end, with how many ends each still wants. Note numbers are below
/// 128.
class SoundingNotes {
public:
    void Start(u32 note) {
        u8& count = counts[note];
        if (count < std::numeric_limits<u8>::max()) {
            ++count;
        }
        notes.Set(note);
    }
    void End(u32 note) {
        u8& count = counts[note];
        if (count > 0 && --count == 0) {
            notes.Clear(note);
        }
    }

    u32 EndsMissing(u32 note) const { return counts[note]; }
    const NoteSet& Notes() const { return notes; }

private:
    NoteSet notes;
    std::array<u8, NoteSet::size> counts{};
};

/// An event read as a note. Nothing is known of the top bits of its data bytes: a number above 127 is no key,
/// of a velocity the lower seven bits count, and a note-on without velocity is a note-off.
struct NoteEvent {
    enum Kind : u8 { Other, Off, On };

    static constexpr u32 noteOffStatus = 0x80;
    static constexpr u32 noteOnStatus = 0x90;

    Kind kind = Other;
    u32 channel = 0;
    u32 number = 0;
    u32 velocity = 0;

    explicit NoteEvent(const dsp::Event& event) {
        constexpr u32 channelMask = 0x0F;
        const u32 status = event.midi[0] & ~channelMask;
        const bool isMidi = event.type == dsp::Event::midiType || event.type == dsp::Event::generatedType;
        if (!isMidi || (status != noteOffStatus && status != noteOnStatus)) {
            return;
        }
        channel = event.midi[0] & channelMask;
        number = event.midi[1];
        velocity = event.midi[2] & 0x7FU;
        kind = status == noteOnStatus && velocity > 0 ? On : Off;
    }

    bool IsKey(Kind wanted) const { return kind == wanted && number < NoteSet::size; }
};

} // namespace Velmora::engine
