// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/AllocationCounter.h"

#include <atomic>
#include <cstddef>

namespace orphia::test {

/// While it lives, the thread counts as an audio thread, which must neither allocate nor free a sample.
class AudioThread {
public:
    AudioThread() { isHere = true; }
    ~AudioThread() {
        isHere = false;
        faults += counter.Count();
    }
    static void CountFree() { faults += isHere ? 1 : 0; }

    static inline std::atomic<std::size_t> faults{0};

private:
    static inline thread_local bool isHere = false;
    const orphia_reference::AllocationCounter counter;
};

} // namespace orphia::test
