// SPDX-License-Identifier: GPL-3.0-or-later
// Without these, no test of this program could fail.
#include "realtime/CallTrap.h"

#include "realtime/SystemCallTrap.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace orphia::test;

template <class Action>
std::string FirstCall(Action&& action) {
    const CallTrap trap;
    action();
    return trap.FirstCall();
}

TEST(CallTrap, CatchesMemory) {
    EXPECT_EQ(FirstCall([] { std::vector<int> memory(1000); }), "malloc");
    std::vector<std::unique_ptr<int>> kept;
    kept.reserve(1);
    kept.push_back(std::make_unique<int>(1));
    EXPECT_EQ(FirstCall([&] { kept.pop_back(); }), "free");
    EXPECT_EQ(FirstCall([] {
                  try {
                      throw 1;
                  } catch (int) {
                  }
              }),
              "__cxa_allocate_exception");
}

TEST(CallTrap, CatchesLocksAndWaits) {
    std::mutex mutex;
    std::shared_mutex shared;
    std::condition_variable condition;
    EXPECT_EQ(FirstCall([&] { const std::lock_guard lock(mutex); }), "pthread_mutex_lock");
    EXPECT_EQ(FirstCall([&] {
                  if (mutex.try_lock()) {
                      mutex.unlock();
                  }
              }),
              "pthread_mutex_trylock");
    EXPECT_EQ(FirstCall([&] { const std::shared_lock lock(shared); }), "pthread_rwlock_rdlock");
    EXPECT_EQ(FirstCall([&] { condition.notify_one(); }), "pthread_cond_signal");
    std::unique_lock lock(mutex);
    EXPECT_EQ(FirstCall([&] { condition.wait_until(lock, std::chrono::steady_clock::time_point()); }),
              "pthread_cond_clockwait");
    EXPECT_EQ(FirstCall([] { std::this_thread::sleep_for(std::chrono::nanoseconds(1)); }), "nanosleep");
    EXPECT_EQ(FirstCall([] { std::this_thread::yield(); }), "sched_yield");
}

TEST(CallTrap, CatchesFilesAndClocks) {
    EXPECT_EQ(FirstCall([] { std::fclose(std::fopen("/dev/null", "r")); }), "fopen");
    EXPECT_EQ(FirstCall([] { close(-1); }), "close");
    EXPECT_EQ(FirstCall([] { std::fflush(stdout); }), "fflush");
    EXPECT_EQ(FirstCall([] { (void)std::chrono::steady_clock::now(); }), "clock_gettime");
    EXPECT_EQ(FirstCall([] { syscall(SYS_getppid); }), "syscall");
}

TEST(CallTrap, LetsArithmeticPass) {
    volatile float x = 1.0F;
    EXPECT_EQ(FirstCall([&] { x = std::sin(x); }), "");
}

TEST(SystemCallTrap, CatchesWhatNoFunctionOfOursStandsInFrontOf) {
    if (!SystemCallTrap::Prepare()) {
        GTEST_SKIP() << "this kernel does not tell";
    }
    const pid_t parent = getppid();
    pid_t trapped = 0;
    long number = SystemCallTrap::none;
    volatile float x = 1.0F;
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
