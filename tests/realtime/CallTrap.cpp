// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/CallTrap.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

thread_local bool isArmed = false;
thread_local std::size_t callCount = 0;
thread_local const char* firstCall = "";

void Note(const char* function) {
    if (isArmed) {
        if (callCount == 0) {
            firstCall = function;
        }
        ++callCount;
    }
}

/// The function that this program's own hides. Found on its first use, which must not be under the trap.
template <class Function>
Function* Hidden(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The C library's own names for its allocator.
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
    Note("malloc");
    return __libc_malloc(size);
}

void free(void* memory) {
    Note("free");
    __libc_free(memory);
}

void* calloc(std::size_t count, std::size_t size) {
    Note("calloc");
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
    Note("realloc");
    return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    Note("aligned_alloc");
    return __libc_memalign(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    Note("memalign");
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    Note("posix_memalign");
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    static auto* const hidden = Hidden<int(pthread_mutex_t*)>("pthread_mutex_lock");
    Note("pthread_mutex_lock");
    return hidden(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) {
    static auto* const hidden = Hidden<int(pthread_mutex_t*)>("pthread_mutex_trylock");
    Note("pthread_mutex_trylock");
    return hidden(mutex);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
    static auto* const hidden = Hidden<int(pthread_rwlock_t*)>("pthread_rwlock_rdlock");
    Note("pthread_rwlock_rdlock");
    return hidden(lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
    static auto* const hidden = Hidden<int(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
    Note("pthread_rwlock_wrlock");
    return hidden(lock);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    static auto* const hidden = Hidden<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    Note("pthread_cond_wait");
    return hidden(condition, mutex);
}

int pthread_cond_signal(pthread_cond_t* condition) {
    static auto* const hidden = Hidden<int(pthread_cond_t*)>("pthread_cond_signal");
    Note("pthread_cond_signal");
    return hidden(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) {
    static auto* const hidden = Hidden<int(pthread_cond_t*)>("pthread_cond_broadcast");
    Note("pthread_cond_broadcast");
    return hidden(condition);
}

int sem_wait(sem_t* semaphore) {
    static auto* const hidden = Hidden<int(sem_t*)>("sem_wait");
    Note("sem_wait");
    return hidden(semaphore);
}

int nanosleep(const timespec* time, timespec* left) {
    static auto* const hidden = Hidden<int(const timespec*, timespec*)>("nanosleep");
    Note("nanosleep");
    return hidden(time, left);
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* left) {
    static auto* const hidden = Hidden<int(clockid_t, int, const timespec*, timespec*)>("clock_nanosleep");
    Note("clock_nanosleep");
    return hidden(clock, flags, time, left);
}

int sched_yield() {
    static auto* const hidden = Hidden<int()>("sched_yield");
    Note("sched_yield");
    return hidden();
}

ssize_t read(int file, void* buffer, std::size_t count) {
    static auto* const hidden = Hidden<ssize_t(int, void*, std::size_t)>("read");
    Note("read");
    return hidden(file, buffer, count);
}

ssize_t write(int file, const void* buffer, std::size_t count) {
    static auto* const hidden = Hidden<ssize_t(int, const void*, std::size_t)>("write");
    Note("write");
    return hidden(file, buffer, count);
}

int open(const char* path, int flags, ...) {
    static auto* const hidden = Hidden<int(const char*, int, mode_t)>("open");
    Note("open");
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return hidden(path, flags, mode);
}

FILE* fopen(const char* path, const char* mode) {
    static auto* const hidden = Hidden<FILE*(const char*, const char*)>("fopen");
    Note("fopen");
    return hidden(path, mode);
}

} // extern "C"
#pragma GCC visibility pop

namespace orphia::test {

CallTrap::CallTrap() {
    callCount = 0;
    firstCall = "";
    isArmed = true;
}

CallTrap::~CallTrap() { isArmed = false; }

std::size_t CallTrap::Count() const { return callCount; }

std::string CallTrap::FirstCall() const {
    const bool wasArmed = isArmed;
    isArmed = false;
    std::string name = firstCall;
    isArmed = wasArmed;
    return name;
}

} // namespace orphia::test
