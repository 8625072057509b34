// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/AllocationCounter.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocations = 0;

void* Count(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++allocations;
    return memory;
}

/// Where the whole piece begins stands in front of it. The standard library's own is not everywhere.
void* Aligned(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    void* const whole = std::malloc(size + step + sizeof(void*));
    if (whole == nullptr) {
        return nullptr;
    }
    const auto first = reinterpret_cast<std::uintptr_t>(whole) + sizeof(void*);
    void** const piece = reinterpret_cast<void**>((first + step - 1) / step * step);
    piece[-1] = whole;
    return piece;
}

void FreeAligned(void* piece) {
    if (piece != nullptr) {
        std::free(static_cast<void**>(piece)[-1]);
    }
}

} // namespace

// The array forms end in these by the rules of the standard library. The form that does not throw would too,
// but a sanitizer brings its own, which must not meet our delete.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(size > 0 ? size : 1);
}

void* operator new(std::size_t size) { return Count(std::malloc(size > 0 ? size : 1)); }

void* operator new(std::size_t size, std::align_val_t alignment) { return Count(Aligned(size, alignment)); }

void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    ++allocations;
    return Aligned(size, alignment);
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

void operator delete(void* memory, std::align_val_t) noexcept { FreeAligned(memory); }

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { FreeAligned(memory); }

namespace orphia_reference {

AllocationCounter::AllocationCounter() : before(allocations) {}

std::size_t AllocationCounter::Count() const { return allocations - before; }

} // namespace orphia_reference
