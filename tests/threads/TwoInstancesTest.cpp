// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/ProcessorHost.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using namespace orphia::test;

/// The peaks of some playing with all kinds of changes, from creation on.
std::vector<float> Play(u32 seed) {
    RandomPlayer player(seed);
    ProcessorHost host;
    host.LoadPreset();
    std::vector<float> peaks;
    for (int block = 0; block < 400; ++block) {
        player.SendMessages(host, player.OneIn(4) ? 1 : 0);
        // A slot's effect now and then.
        if (block % 50 == 0) {
            using Velmora::Processor::FXVariant;
            constexpr u32 slots = ProcessorHost::Engine::firstIds[5];
            host.Set(slots + FXVariant::ParameterId(FXVariant::ModuleType), player.Position());
        }
        host.Block(player);
        host.EndBlock();
        peaks.push_back(host.Peak());
    }
    return peaks;
}

TEST(TwoInstances, InTwoThreadsDoNotHearOfEachOther) {
    setenv("ORPHIA_SEED", "5", 1);
    const std::vector<float> first = Play(1);
    const std::vector<float> second = Play(2);
    EXPECT_NE(first, second);
    EXPECT_GT(*std::max_element(first.begin(), first.end()), 0.01F);
    for (int round = 0; round < 3; ++round) {
        std::vector<float> firstAgain;
        std::thread one([&] { firstAgain = Play(1); });
        EXPECT_EQ(Play(2), second);
        one.join();
        EXPECT_EQ(firstAgain, first);
    }
    unsetenv("ORPHIA_SEED");
}

} // namespace
