// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "engine/chords/NoteSet.h"

namespace Velmora::engine {

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
