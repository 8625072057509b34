// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <malloc.h>

#include <cstddef>

// There is one when the address sanitizer keeps the heap.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

namespace orphia::test {

/// What this process has allocated and not freed, in bytes.
inline std::size_t LiveHeapBytes() {
    if (__sanitizer_get_current_allocated_bytes != nullptr) {
        return __sanitizer_get_current_allocated_bytes();
    }
    const auto heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

} // namespace orphia::test
