// SPDX-License-Identifier: GPL-3.0-or-later
// Without these, no test of this program could fail.
#include "realtime/CallTrap.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <thread>
#include <vector>

namespace {

using namespace orphia::test;

TEST(CallTrap, CatchesMemoryLocksWaitsFilesAndClocksButNoArithmetic) {
    std::mutex mutex;
    std::mutex held;
    std::shared_mutex shared;
    std::condition_variable condition;
    std::unique_lock lock(held);
    volatile float x = 1.0F;
    auto kept = std::make_unique<int>(1);
    const auto throwing = [] {
        try {
            throw 1;
        } catch (int) {
        }
    };
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"malloc", [] { std::vector<int> memory(1000); }},
        {"free", [&] { kept.reset(); }},
        {"__cxa_allocate_exception", throwing},
        {"pthread_mutex_lock", [&] { const std::lock_guard guard(mutex); }},
        {"pthread_mutex_trylock", [&] { mutex.try_lock() ? mutex.unlock() : void(); }},
        {"pthread_rwlock_rdlock", [&] { const std::shared_lock guard(shared); }},
        {"pthread_cond_signal", [&] { condition.notify_one(); }},
        {"pthread_cond_clockwait",
         [&] { condition.wait_until(lock, std::chrono::steady_clock::time_point()); }},
        {"nanosleep", [] { std::this_thread::sleep_for(std::chrono::nanoseconds(1)); }},
        {"sched_yield", [] { std::this_thread::yield(); }},
        {"fopen", [] { std::fclose(std::fopen("/dev/null", "r")); }},
        {"close", [] { close(-1); }},
        {"fflush", [] { std::fflush(stdout); }},
        {"clock_gettime", [] { (void)std::chrono::steady_clock::now(); }},
        {"syscall", [] { syscall(SYS_getppid); }},
        {"", [&] { x = std::sin(x); }}};
    for (const auto& [expected, action] : cases) {
        const CallTrap trap;
        action();
        EXPECT_STREQ(trap.FirstCall(), expected);
        EXPECT_EQ(trap.Count() > 0, *expected != '\0');
    }
}

TEST(SystemCallTrap, CatchesWhatNoFunctionOfOursStandsInFrontOf) {
    if (!SystemCallTrap::Prepare()) {
        GTEST_SKIP() << "this kernel does not tell";
    }
    const pid_t parent = getppid();
    pid_t trapped = 0;
    volatile float x = 1.0F;
    long number = 0;
    {
        const SystemCallTrap trap;
        x = std::sin(x);
        number = trap.FirstCall();
    }
    EXPECT_EQ(number, SystemCallTrap::none);
    {
        const SystemCallTrap trap;
        trapped = getppid();
        number = trap.FirstCall();
    }
    EXPECT_EQ(number, SYS_getppid);
    EXPECT_EQ(trapped, parent) << "the call is made all the same";
    EXPECT_EQ(getppid(), parent) << "and the next one is free";
}

} // namespace
