// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/CSingleton.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Velmora::CSingleton;

constexpr int threadCount = 16;

// Takes its time to be built, so that an instance handed out too early is seen with its first value.
class SlowService : public CSingleton<SlowService> {
public:
    SlowService() {
        ++constructions;
        for (int i = 0; i < 200; ++i) {
            std::this_thread::yield();
        }
        value = 42;
    }
    int value = 0;
    static inline std::atomic<int> constructions{0};
};

class UnluckyService : public CSingleton<UnluckyService> {
public:
    UnluckyService() {
        if (++attempts == 1) {
            throw std::runtime_error("not yet");
        }
    }
    static inline int attempts = 0;
};

TEST(CSingleton, IsBuiltOnceAndSeenWholeByAllThreads) {
    std::latch start(threadCount);
    std::vector<SlowService*> seen(threadCount);
    std::vector<int> values(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            seen[i] = &SlowService::GetInstance();
            values[i] = seen[i]->value;
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(SlowService::constructions, 1);
    for (std::size_t i = 0; i < threadCount; ++i) {
        EXPECT_EQ(seen[i], seen[0]);
        EXPECT_EQ(values[i], 42) << "thread " << i << " got the instance before it was built";
    }
}

TEST(CSingleton, TriesAgainAfterAConstructorThatThrew) {
    EXPECT_THROW(UnluckyService::GetInstance(), std::runtime_error);
    const auto* first = &UnluckyService::GetInstance();
    const auto* second = &UnluckyService::GetInstance();
    EXPECT_TRUE(first == second);
    EXPECT_EQ(UnluckyService::attempts, 2);
}

} // namespace
