// SPDX-License-Identifier: GPL-3.0-or-later
// The system's locks, waits and clocks, under a trap. What tells a waiting thread is among them, since it may
// have to enter the system.
#include "realtime/TrappedCall.h"

#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>

using orphia::test::TrappedCall;

#pragma GCC visibility push(default)
extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) { return TrappedCall<"pthread_mutex_lock", int>(mutex); }

int pthread_mutex_trylock(pthread_mutex_t* mutex) { return TrappedCall<"pthread_mutex_trylock", int>(mutex); }

int pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* until) {
    return TrappedCall<"pthread_mutex_timedlock", int>(mutex, until);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) { return TrappedCall<"pthread_rwlock_rdlock", int>(lock); }

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) { return TrappedCall<"pthread_rwlock_wrlock", int>(lock); }

int pthread_spin_lock(pthread_spinlock_t* lock) { return TrappedCall<"pthread_spin_lock", int>(lock); }

int pthread_once(pthread_once_t* once, void (*action)()) {
    return TrappedCall<"pthread_once", int>(once, action);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    return TrappedCall<"pthread_cond_wait", int>(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until) {
    return TrappedCall<"pthread_cond_timedwait", int>(condition, mutex, until);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
    return TrappedCall<"pthread_cond_clockwait", int>(condition, mutex, clock, until);
}

int pthread_cond_signal(pthread_cond_t* condition) {
    return TrappedCall<"pthread_cond_signal", int>(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) {
    return TrappedCall<"pthread_cond_broadcast", int>(condition);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*action)(void*), void* data) {
    return TrappedCall<"pthread_create", int>(thread, attributes, action, data);
}

int pthread_join(pthread_t thread, void** result) { return TrappedCall<"pthread_join", int>(thread, result); }

int sem_wait(sem_t* semaphore) { return TrappedCall<"sem_wait", int>(semaphore); }

int sem_trywait(sem_t* semaphore) { return TrappedCall<"sem_trywait", int>(semaphore); }

int sem_timedwait(sem_t* semaphore, const timespec* until) {
    return TrappedCall<"sem_timedwait", int>(semaphore, until);
}

int sem_post(sem_t* semaphore) { return TrappedCall<"sem_post", int>(semaphore); }

int nanosleep(const timespec* duration, timespec* left) {
    return TrappedCall<"nanosleep", int>(duration, left);
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* duration, timespec* left) {
    return TrappedCall<"clock_nanosleep", int>(clock, flags, duration, left);
}

int usleep(useconds_t duration) { return TrappedCall<"usleep", int>(duration); }

int sched_yield() { return TrappedCall<"sched_yield", int>(); }

int poll(pollfd* files, nfds_t count, int timeout) { return TrappedCall<"poll", int>(files, count, timeout); }

int clock_gettime(clockid_t clock, timespec* now) { return TrappedCall<"clock_gettime", int>(clock, now); }

int gettimeofday(timeval* now, void* zone) { return TrappedCall<"gettimeofday", int>(now, zone); }

time_t time(time_t* now) { return TrappedCall<"time", time_t>(now); }

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
