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
#include <shared_mutex>
#include <vector>

namespace {

using namespace orphia::test;

TEST(CallTrap, CatchesMemoryLocksFilesAndClocksButNoArithmetic) {
    std::mutex mutex;
    std::shared_mutex shared;
    std::condition_variable condition;
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
        {"clock_gettime", [] { (void)std::chrono::steady_clock::now(); }},
        {"fwrite", [] { std::fwrite("\n\n", 1, 2, stdout); }},
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
    volatile float x = 1.0F;
    const auto caught = [](const auto& action) {
        const SystemCallTrap trap;
        action();
        return trap.FirstCall();
    };
    EXPECT_EQ(caught([&] { x = std::sin(x); }), long{SystemCallTrap::none});
    pid_t trapped = 0;
    EXPECT_EQ(caught([&] { trapped = getppid(); }), SYS_getppid);
    EXPECT_EQ(trapped, parent) << "the call is made all the same";
    EXPECT_EQ(getppid(), parent) << "and the next one is free";
}

} // namespace
