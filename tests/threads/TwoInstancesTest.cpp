// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/RandomHost.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using orphia::test::RandomHost;

/// The peaks of some playing with all kinds of changes, from creation on.
std::vector<float> Play(unsigned seed) {
    RandomHost host(seed);
    host.LoadPreset();
    std::vector<float> peaks;
    for (int block = 0; block < 400; ++block) {
        if (block % 20 == 0) {
            host.NoteOn(static_cast<unsigned char>(40 + host.Below(30)));
        }
        // A slot's effect now and then.
        if (block % 50 == 0) {
            using Velmora::Processor::FXVariant;
            constexpr Velmora::u32 slots = Velmora::Processor::VocoderProcessor::firstIds[5];
            host.processor->SetParameter(slots + FXVariant::ParameterId(FXVariant::ModuleType),
                                         host.Position());
        }
        host.Block();
        peaks.push_back(host.Peak());
    }
    return peaks;
}

TEST(TwoInstances, InTwoThreadsDoNotHearOfEachOther) {
    setenv("ORPHIA_SEED", "5", 1);
    const std::vector<float> first = Play(1);
    const std::vector<float> second = Play(2);
    EXPECT_NE(first, second);
    for (int round = 0; round < 3; ++round) {
        std::vector<float> firstAgain;
        std::vector<float> secondAgain;
        std::thread one([&] { firstAgain = Play(1); });
        std::thread other([&] { secondAgain = Play(2); });
        one.join();
        other.join();
        EXPECT_EQ(firstAgain, first);
        EXPECT_EQ(secondAgain, second);
    }
    unsetenv("ORPHIA_SEED");
}

} // namespace
