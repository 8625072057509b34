// SPDX-License-Identifier: GPL-3.0-or-later
// The functions of this program that stand in front of the system's.
#include "realtime/CallTrap.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/stat.h>
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
/// What opens has a third argument when a file may be made.
#define TRAP_OPEN(name, parameters, ...)                                                                     \
    int name parameters {                                                                                    \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;                               \
        va_end(rest);                                                                                        \
        return TrappedCall<#name, int>(__VA_ARGS__, flags, mode);                                            \
    }

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
TRAP(void*, mmap, (void* at, std::size_t size, int protection, int flags, int file, off_t from),
     (at, size, protection, flags, file, from))
TRAP(int, munmap, (void* at, std::size_t size), (at, size))
TRAP(int, mprotect, (void* at, std::size_t size, int protection), (at, size, protection))
TRAP(int, madvise, (void* at, std::size_t size, int advice), (at, size, advice))
/// Nothing is thrown without it.
TRAP(void*, __cxa_allocate_exception, (std::size_t size) noexcept, (size))

// Locks and waits. What tells a waiting thread is among them, since it may have to enter the system.
TRAP(int, pthread_mutex_lock, (pthread_mutex_t* mutex), (mutex))
TRAP(int, pthread_mutex_trylock, (pthread_mutex_t* mutex), (mutex))
TRAP(int, pthread_mutex_timedlock, (pthread_mutex_t* mutex, const timespec* until), (mutex, until))
TRAP(int, pthread_rwlock_rdlock, (pthread_rwlock_t* lock), (lock))
TRAP(int, pthread_rwlock_wrlock, (pthread_rwlock_t* lock), (lock))
TRAP(int, pthread_spin_lock, (pthread_spinlock_t* lock), (lock))
TRAP(int, pthread_once, (pthread_once_t* once, void (*action)()), (once, action))
TRAP(int, pthread_cond_wait, (pthread_cond_t* condition, pthread_mutex_t* mutex), (condition, mutex))
TRAP(int, pthread_cond_timedwait, (pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until),
     (condition, mutex, until))
TRAP(int, pthread_cond_clockwait,
     (pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* until),
     (condition, mutex, clock, until))
TRAP(int, pthread_cond_signal, (pthread_cond_t* condition), (condition))
TRAP(int, pthread_cond_broadcast, (pthread_cond_t* condition), (condition))
TRAP(int, pthread_create, (pthread_t* thread, const pthread_attr_t* attributes, void* (*action)(void*), void* data),
     (thread, attributes, action, data))
TRAP(int, pthread_join, (pthread_t thread, void** result), (thread, result))
TRAP(int, sem_wait, (sem_t* semaphore), (semaphore))
TRAP(int, sem_trywait, (sem_t* semaphore), (semaphore))
TRAP(int, sem_timedwait, (sem_t* semaphore, const timespec* until), (semaphore, until))
TRAP(int, sem_post, (sem_t* semaphore), (semaphore))
TRAP(int, nanosleep, (const timespec* duration, timespec* left), (duration, left))
TRAP(int, clock_nanosleep, (clockid_t clock, int flags, const timespec* duration, timespec* left),
     (clock, flags, duration, left))
TRAP(int, usleep, (useconds_t duration), (duration))
TRAP(int, sched_yield, (), ())
TRAP(int, poll, (pollfd* files, nfds_t count, int timeout), (files, count, timeout))
TRAP(int, clock_gettime, (clockid_t clock, timespec* now), (clock, now))
TRAP(int, gettimeofday, (timeval* now, void* zone), (now, zone))
TRAP(time_t, time, (time_t* now), (now))

TRAP(ssize_t, read, (int file, void* to, std::size_t count), (file, to, count))
TRAP(ssize_t, pread, (int file, void* to, std::size_t count, off_t from), (file, to, count, from))
TRAP(ssize_t, write, (int file, const void* from, std::size_t count), (file, from, count))
TRAP(off_t, lseek, (int file, off_t to, int whence) noexcept, (file, to, whence))
TRAP(off64_t, lseek64, (int file, off64_t to, int whence) noexcept, (file, to, whence))
TRAP(int, close, (int file), (file))
TRAP_OPEN(open, (const char* path, int flags, ...), path)
TRAP_OPEN(open64, (const char* path, int flags, ...), path)
TRAP_OPEN(openat, (int folder, const char* path, int flags, ...), folder, path)
TRAP(int, stat, (const char* path, struct stat* about), (path, about))
TRAP(int, fstat, (int file, struct stat* about), (file, about))
TRAP(int, access, (const char* path, int mode), (path, mode))
TRAP(FILE*, fopen, (const char* path, const char* mode), (path, mode))
TRAP(FILE*, fopen64, (const char* path, const char* mode), (path, mode))
TRAP(int, fclose, (FILE* file), (file))
TRAP(std::size_t, fread, (void* to, std::size_t size, std::size_t count, FILE* file), (to, size, count, file))
TRAP(std::size_t, fwrite, (const void* from, std::size_t size, std::size_t count, FILE* file),
     (from, size, count, file))
TRAP(int, fputs, (const char* text, FILE* file), (text, file))
TRAP(int, fflush, (FILE* file), (file))
TRAP(void*, dlopen, (const char* path, int flags), (path, flags))
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
