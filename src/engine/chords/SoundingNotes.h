// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/chords/NoteSet.h"
#include "support/platform/Types.h"

#include <array>
#include <limits>

namespace Velmora::engine {

/// The notes that were started and did not end, with how many ends each still wants. Note numbers are below
/// 128.
class SoundingNotes {
public:
    /// A further start of the note, by another key.
    void Start(u32 note) {
        u8& count = counts[note];
        if (count < std::numeric_limits<u8>::max()) {
            ++count;
        }
        notes.Set(note);
    }
    /// One end will do for all starts like this.
    void StartOnce(u32 note) {
        if (counts[note] == 0) {
            Start(note);
        }
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

} // namespace Velmora::engine
