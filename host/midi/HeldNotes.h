// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/midi/MidiMessage.h"

#include <array>
#include <cstdint>

namespace orphia::host {

/// How often each note of each channel is down. A note that was begun twice ends with its second note-off.
class HeldNotes {
public:
    static constexpr unsigned channelCount = 16;
    static constexpr unsigned noteCount = 128;

    static bool IsNoteOn(const MidiMessage& message) { return message.Kind() == 0x90 && message.data2 > 0; }
    static bool IsNoteOff(const MidiMessage& message) {
        return message.Kind() == 0x80 || (message.Kind() == 0x90 && message.data2 == 0);
    }

    void Take(const MidiMessage& message) {
        std::uint32_t& count = counts[message.Channel()][message.data1 % noteCount];
        if (IsNoteOn(message)) {
            ++count;
        } else if (IsNoteOff(message) && count > 0) {
            --count;
        }
    }

    /// Sends note-offs for what is down in a channel until the sender takes no more; false then.
    template <class Sender>
    bool Release(unsigned channel, Sender&& send) {
        for (unsigned note = 0; note < noteCount; ++note) {
            for (std::uint32_t& count = counts[channel][note]; count > 0; --count) {
                if (!send({static_cast<std::uint8_t>(0x80U | channel), static_cast<std::uint8_t>(note), 0})) {
                    return false;
                }
            }
        }
        return true;
    }

    void Clear() { counts = {}; }

private:
    std::array<std::array<std::uint32_t, noteCount>, channelCount> counts{};
};

} // namespace orphia::host
