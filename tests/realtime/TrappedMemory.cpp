// SPDX-License-Identifier: GPL-3.0-or-later
// This program's allocator: that of the C library, under a trap.
#include "realtime/TrappedCall.h"

#include <sys/mman.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdlib>

using orphia::test::CallTrap;
using orphia::test::TrappedCall;

// The C library's own names for its allocator: what finds hidden functions allocates.
extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* memory);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

// The build hides what it defines; these must be seen by all libraries.
#pragma GCC visibility push(default)
extern "C" {

void* malloc(std::size_t size) {
    CallTrap::Note("malloc");
    return __libc_malloc(size);
}

void free(void* memory) {
    CallTrap::Note("free");
    __libc_free(memory);
}

void* calloc(std::size_t count, std::size_t size) {
    CallTrap::Note("calloc");
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
    CallTrap::Note("realloc");
    return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    CallTrap::Note("aligned_alloc");
    return __libc_memalign(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    CallTrap::Note("memalign");
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    CallTrap::Note("posix_memalign");
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}

void* mmap(void* at, std::size_t size, int protection, int flags, int file, off_t from) {
    return TrappedCall<"mmap", void*>(at, size, protection, flags, file, from);
}

int munmap(void* at, std::size_t size) { return TrappedCall<"munmap", int>(at, size); }

int mprotect(void* at, std::size_t size, int protection) {
    return TrappedCall<"mprotect", int>(at, size, protection);
}

int madvise(void* at, std::size_t size, int advice) { return TrappedCall<"madvise", int>(at, size, advice); }

/// Nothing is thrown without it.
void* __cxa_allocate_exception(std::size_t size) noexcept {
    return TrappedCall<"__cxa_allocate_exception", void*>(size);
}

} // extern "C"
#pragma GCC visibility pop
