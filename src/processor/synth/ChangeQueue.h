// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <array>

namespace Velmora::Processor {

/// Changes that the engine reports to the host, in order. It never grows: what does not fit is dropped, and
/// stays dropped until the host has taken the queue.
template <class Record, u32 queueCapacity>
struct ChangeQueue {
    static constexpr u32 capacity = queueCapacity;

    u32 count = 0;
    std::array<Record, capacity> records{};

    /// False when the queue is full and the record is dropped.
    bool Append(const Record& record) {
        if (count >= capacity) {
            return false;
        }
        records[count++] = record;
        return true;
    }
};

} // namespace Velmora::Processor
