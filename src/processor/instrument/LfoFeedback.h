// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Within.h"
#include "support/platform/Types.h"

#include <array>

namespace Velmora::Processor {

/// Collects where the LFO is for the interface: one byte every four blocks, a message of eight every 32.
/// Three messages take turns, so that a host may read one while the next is written.
class LfoFeedback {
public:
    static constexpr u32 messageSize = 8;
    static constexpr u32 blocksPerByte = 4;
    using Message = std::array<u8, messageSize>;

    /// Takes the LFO's value, -1..1, of one block. With the last block of a message, the message; else null.
    /// It stays as it is for two more messages.
    const Message* Add(float lfo) {
        if (block % blocksPerByte == blocksPerByte - 1) {
            messages[current][block / blocksPerByte] =
                static_cast<u8>(dsp::ToIndex((lfo + 1.0F) * 127.5F, 256));
        }
        if (++block < blocksPerMessage) {
            return nullptr;
        }
        const Message* full = &messages[current];
        block = 0;
        current = (current + 1) % messageCount;
        return full;
    }

private:
    static constexpr u32 blocksPerMessage = messageSize * blocksPerByte;

    static constexpr u32 messageCount = 3;

    std::array<Message, messageCount> messages{};
    u32 current = 0;
    u32 block = 0;
};

} // namespace Velmora::Processor
