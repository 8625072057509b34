// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/midi/MidiMessage.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orphia::plugin {

/// Wheels, pedals and pressure that moved while the next instrument was on its way, which has to hear of
/// them. For an audio thread: after construction it does not allocate.
class ControllerLog {
public:
    ControllerLog() { moves.reserve(most); }

    /// Notes are passed over. The generation is that of the instrument which was ordered last.
    void Note(const host::MidiMessage& message, std::uint32_t generation) {
        if (message.Kind() <= keyPressureKind) {
            return;
        }
        if (!IsOneOfSeveral(message)) {
            std::erase_if(moves, [&message](const Move& each) { return IsSame(each.message, message); });
        }
        if (moves.size() == most) {
            moves.erase(moves.begin());
        }
        moves.push_back({message, generation});
    }

    /// f(message) for all that moved since a generation was ordered; what did before is forgotten, too.
    template <class F>
    void Take(std::uint32_t generation, F&& f) {
        const auto isSince = [generation](const Move& move, std::int32_t least) {
            return static_cast<std::int32_t>(move.generation - generation) >= least;
        };
        for (const Move& move : moves) {
            if (isSince(move, 0)) {
                f(move.message);
            }
        }
        std::erase_if(moves, [&isSince](const Move& move) { return !isSince(move, 1); });
    }

private:
    static constexpr std::size_t most = 512;
    static constexpr unsigned keyPressureKind = 0xA0;
    static constexpr unsigned controllerKind = 0xB0;

    struct Move {
        host::MidiMessage message;
        std::uint32_t generation = 0;
    };

    static bool IsSame(const host::MidiMessage& one, const host::MidiMessage& other) {
        return one.status == other.status && (one.Kind() != controllerKind || one.data1 == other.data1);
    }
    /// Registered parameters, and what resets others, mean something by their order.
    static bool IsOneOfSeveral(const host::MidiMessage& message) {
        const bool isNumber = message.data1 >= 96 && message.data1 <= 101;
        return message.Kind() == controllerKind &&
               (isNumber || message.data1 == 6 || message.data1 == 38 || message.data1 >= 120);
    }

    std::vector<Move> moves;
};

} // namespace orphia::plugin
