// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/ProcessorHost.h"
#include "rigs/TestFiles.h"

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

/// From creation to the end, which comes while samples load.
void LiveAndLoad(u32 seed, const std::vector<std::string>& paths) {
    RandomPlayer player(seed);
    for (int life = 0; life < 6; ++life) {
        ProcessorHost host;
        host.LoadPreset();
        for (u32 block = player.Below(500); block > 0; --block) {
            // Now and then, more requests in a block than there are slots.
            for (u32 request = player.OneIn(4) ? player.Below(20) : 0; request > 0; --request) {
                host.SetData(ProcessorHost::firstPath + player.Below(ProcessorHost::sampleCount),
                             player.AnyOf(paths));
            }
            player.SendMessages(host, 1);
            host.Block(player);
            host.EndBlock();
            EXPECT_TRUE(std::isfinite(host.Peak()));
        }
        if (life % 2 == 0) {
            host.WaitForSamples();
        }
    }
}

// To be run under the thread sanitizer, too.
TEST(TwoInstances, OrFourLoadSamplesWhileTheyPlayAndEndWhileTheyLoad) {
    const TemporaryFolder folder;
    std::vector<std::string> paths = {"", "/missing.wav"};
    for (int i = 0; i < 4; ++i) {
        paths.push_back((folder / (std::to_string(i) + ".flac")).string());
        WriteSound(paths.back(), Sine(100.0 * (i + 1), 0.2 * (i * i + 1), 44100, 1 + i % 2),
                   SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    }
    std::vector<std::thread> threads;
    for (u32 seed = 0; seed < 4; ++seed) {
        threads.emplace_back([&paths, seed] { LiveAndLoad(seed, paths); });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
}

} // namespace
