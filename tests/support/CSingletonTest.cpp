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
        if (++constructions == 1) {
            throw std::runtime_error("not yet");
        }
        for (int i = 0; i < 200; ++i) {
            std::this_thread::yield();
        }
        value = 42;
    }
    int value = 0;
    static inline std::atomic<int> constructions{0};
};

TEST(CSingleton, AfterAConstructorThatThrewItIsBuiltOnceAndSeenWholeByAllThreads) {
    EXPECT_THROW(SlowService::GetInstance(), std::runtime_error);
    std::latch start(threadCount);
    std::vector<int> values(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            values[i] = SlowService::GetInstance().value;
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(SlowService::constructions, 2);
    EXPECT_EQ(values, std::vector<int>(threadCount, 42)) << "a thread got the instance before it was built";
}

} // namespace
