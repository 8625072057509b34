// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/stack_function.h"
#include "support/platform/Types.h"

#include <array>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <utility>

namespace Velmora::dsp {

/// A queue of calls from one thread to one other. It neither locks nor allocates; captures lie in its cells.
/// Calls come out in the order in which they went in; the other thread runs and destroys them.
template <u32 usableCells, std::size_t captureSize = 64>
class CallRing {
public:
    using Call = stlutils::stack_function<void(bool), captureSize>;

    /// The producer: moves `call` into the ring. While the ring is full, returns false and leaves `call`
    /// alone.
    bool Push(Call& call) noexcept {
        const u32 at = writeIndex.load(std::memory_order_relaxed);
        const u32 next = Successor(at);
        // Acquire: the consumer's move out of this cell is over.
        if (next == readIndex.load(std::memory_order_acquire)) {
            return false;
        }
        assert(cells[at].movedOut);
        cells[at].call = std::move(call);
        cells[at].movedOut = false;
        writeIndex.store(next, std::memory_order_release);
        return true;
    }

    /// The consumer: moves the oldest call into `call`. Returns false when there is none.
    bool Pop(Call& call) noexcept {
        const u32 at = readIndex.load(std::memory_order_relaxed);
        if (at == writeIndex.load(std::memory_order_acquire)) {
            return false;
        }
        call = std::move(cells[at].call);
        cells[at].movedOut = true;
        readIndex.store(Successor(at), std::memory_order_release);
        return true;
    }

private:
    struct Cell {
        Call call;
        /// A call that is still here must not be written over: it would die unrun, on the wrong thread.
        bool movedOut = true;
    };
    static_assert(!has64BitPointers || captureSize != 64 || sizeof(Cell) == 80);

    // One cell stays free, so that equal indices always mean an empty ring.
    static constexpr u32 cellCount = usableCells + 1;

    static u32 Successor(u32 index) { return index + 1 == cellCount ? 0 : index + 1; }

    std::array<Cell, cellCount> cells;
    std::atomic<u32> writeIndex{0};
    std::atomic<u32> readIndex{0};
};

} // namespace Velmora::dsp
