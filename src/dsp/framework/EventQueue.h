// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <array>

namespace Velmora::dsp {

/// One event of a block. Its layout is shared with hosts.
struct Event {
    static constexpr u32 empty = 0;
    static constexpr u32 midiType = 1;
    /// Taken by the voice stage like midiType.
    static constexpr u32 generatedType = 2;

    u32 type = empty;
    /// Always 0: events act at the start of their block.
    u32 sampleOffset = 0;
    /// Status byte and two data bytes, as the host sent them; nothing is known of their top bits.
    u8 midi[3] = {};
    u8 reserved[13] = {};
};

static_assert(!has64BitPointers || sizeof(Event) == 24, "hosts know this size");

/// The events of one block in order. It never grows: what does not fit is dropped.
struct EventQueue {
    static constexpr u32 capacity = 256;

    u32 count = 0;
    std::array<Event, capacity> events{};

    void Clear() { count = 0; }

    /// False when the queue is full and the event is dropped.
    bool Append(const Event& event) {
        if (count >= capacity) {
            return false;
        }
        events[count++] = event;
        return true;
    }

    bool AppendMidi(u8 status, u8 data1, u8 data2) {
        Event event;
        event.type = Event::midiType;
        event.midi[0] = status;
        event.midi[1] = data1;
        event.midi[2] = data2;
        return Append(event);
    }

    const Event* begin() const { return events.data(); }
    const Event* end() const { return events.data() + count; }
};

} // namespace Velmora::dsp
