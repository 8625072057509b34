// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <array>
#include <bit>
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

} // namespace Velmora::engine
