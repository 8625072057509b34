// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/ProcessorHost.h"

#include <gtest/gtest.h>

namespace orphia::test {
namespace {

/// After whatever happened, a preset brings the sound back.
void ExpectSoundAfterPreset(ProcessorHost& host, RandomPlayer& player) {
    host.SetTransport({});
    host.LoadPreset();
    host.Block(player); // what "Panic" did not let pass
    host.EndBlock();
    player.Speak();
    host.NoteOn(45);
    host.NoteOn(57);
    float loudest = 0.0F;
    for (int block = 0; block < 400; ++block) {
        host.Block(player);
        host.EndBlock();
        loudest = std::max(loudest, host.Peak());
    }
    EXPECT_GT(loudest, 0.05F);
    EXPECT_LT(loudest, 8.0F);
}

TEST(InstrumentBadInput, AnyCallsWithAnyValuesLeaveAnInstrumentThatPlays) {
    for (const u32 seed : {1U, 2U, 3U}) {
        RandomPlayer player(seed);
        ProcessorHost host;
        for (int block = 0; block < 4000; ++block) {
            for (u32 call = player.Below(40); call > 0; --call) {
                const auto [id, number] = host.AnySetting(player);
                host.Set(id, number);
            }
            player.SendMessages(host, player.Below(2));
            host.Send(player.AnyBytes());
            if (player.OneIn(100)) {
                host.Initialize();
                player.ChangeVoice();
            }
            host.SetTransport({player.AnyNumber(), player.AnyNumber()});
            host.Block(player, {4 * player.Below(12), player.Below(3)});
            host.EndBlock();
            ASSERT_TRUE(std::isfinite(host.Peak())) << "seed " << seed << ", block " << block;
            if (block % 1000 == 999) {
                ExpectSoundAfterPreset(host, player);
            }
        }
    }
}

} // namespace
} // namespace orphia::test
