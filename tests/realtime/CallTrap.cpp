// SPDX-License-Identifier: GPL-3.0-or-later
// The functions of this program that stand in front of the system's: those that may do their work, or some of
// it, without entering the system. Of the others SystemCallTrap tells.
#include "realtime/CallTrap.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

using orphia::test::CallTrap;

/// The name of a function, as the argument of a template.
template <std::size_t size>
struct FunctionName {
    // NOLINTNEXTLINE(google-explicit-constructor): written as a plain text
    constexpr FunctionName(const char (&chars)[size]) { std::copy_n(chars, size, text); }
    char text[size]{};
};

/// Notes a call, then makes it: of the function of that name which this program's own hides. Without a
/// guarded variable, since a guard may come by here itself.
template <FunctionName name, class Result, class... Arguments>
Result TrappedCall(Arguments... arguments) {
    static constinit std::atomic<Result (*)(Arguments...)> hidden{nullptr};
    CallTrap::Note(name.text);
    auto* function = hidden.load(std::memory_order_relaxed);
    if (function == nullptr) {
        const CallTrap::Pause pause;
        function = reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, name.text));
        hidden.store(function, std::memory_order_relaxed);
    }
    return function(arguments...);
}

} // namespace

// The C library's own names for its allocator: what finds hidden functions allocates.
extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* memory);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

#define ALLOCATOR(result, name, parameters, call)                                                            \
    result name parameters {                                                                                 \
        CallTrap::Note(#name);                                                                               \
        return call;                                                                                         \
    }
#define TRAP(result, name, parameters, arguments)                                                            \
    result name parameters { return TrappedCall<#name, result> arguments; }
// The build hides what it defines; these must be seen by all libraries.
#pragma GCC visibility push(default)
extern "C" {
// clang-format off
ALLOCATOR(void*, malloc, (std::size_t size), __libc_malloc(size))
ALLOCATOR(void, free, (void* memory), __libc_free(memory))
ALLOCATOR(void*, calloc, (std::size_t count, std::size_t size), __libc_calloc(count, size))
ALLOCATOR(void*, realloc, (void* memory, std::size_t size), __libc_realloc(memory, size))
ALLOCATOR(void*, aligned_alloc, (std::size_t alignment, std::size_t size), __libc_memalign(alignment, size))
ALLOCATOR(void*, memalign, (std::size_t alignment, std::size_t size), __libc_memalign(alignment, size))
ALLOCATOR(int, posix_memalign, (void** memory, std::size_t alignment, std::size_t size),
          (*memory = __libc_memalign(alignment, size)) != nullptr ? 0 : ENOMEM)
/// Nothing is thrown without it.
TRAP(void*, __cxa_allocate_exception, (std::size_t size) noexcept, (size))

// Locks, what tells a waiting thread, and clocks.
TRAP(int, pthread_mutex_lock, (pthread_mutex_t* mutex), (mutex))
TRAP(int, pthread_mutex_trylock, (pthread_mutex_t* mutex), (mutex))
TRAP(int, pthread_mutex_timedlock, (pthread_mutex_t* mutex, const timespec* until), (mutex, until))
TRAP(int, pthread_rwlock_rdlock, (pthread_rwlock_t* lock), (lock))
TRAP(int, pthread_rwlock_wrlock, (pthread_rwlock_t* lock), (lock))
TRAP(int, pthread_spin_lock, (pthread_spinlock_t* lock), (lock))
TRAP(int, pthread_once, (pthread_once_t* once, void (*action)()), (once, action))
TRAP(int, pthread_cond_signal, (pthread_cond_t* condition), (condition))
TRAP(int, pthread_cond_broadcast, (pthread_cond_t* condition), (condition))
TRAP(int, sem_wait, (sem_t* semaphore), (semaphore))
TRAP(int, sem_trywait, (sem_t* semaphore), (semaphore))
TRAP(int, sem_timedwait, (sem_t* semaphore, const timespec* until), (semaphore, until))
TRAP(int, sem_post, (sem_t* semaphore), (semaphore))
TRAP(int, clock_gettime, (clockid_t clock, timespec* now), (clock, now))
TRAP(int, gettimeofday, (timeval* now, void* zone), (now, zone))
TRAP(time_t, time, (time_t* now), (now))

TRAP(std::size_t, fread, (void* to, std::size_t size, std::size_t count, FILE* file), (to, size, count, file))
TRAP(std::size_t, fwrite, (const void* from, std::size_t size, std::size_t count, FILE* file),
     (from, size, count, file))
TRAP(int, fputs, (const char* text, FILE* file), (text, file))
// clang-format on

/// Whatever it asks of the system, a futex for instance.
long syscall(long number, ...) {
    va_list rest;
    va_start(rest, number);
    long arguments[6];
    for (long& argument : arguments) {
        argument = va_arg(rest, long);
    }
    va_end(rest);
    return TrappedCall<"syscall", long>(number, arguments[0], arguments[1], arguments[2], arguments[3],
                                        arguments[4], arguments[5]);
}

} // extern "C"
#pragma GCC visibility pop
