// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/RandomHost.h"

#include <gtest/gtest.h>

namespace orphia::test {
namespace {

using Velmora::u32;

/// After whatever happened, a preset brings the sound back.
void ExpectSoundAfterPreset(RandomHost& host) {
    host.tempo = 120.0F;
    host.songPosition = 0.0F;
    host.LoadPreset();
    host.Block(); // what "Panic" did not let pass
    host.NoteOn(45);
    host.NoteOn(57);
    float loudest = 0.0F;
    for (int block = 0; block < 400; ++block) {
        host.Block();
        ASSERT_TRUE(std::isfinite(host.Peak())) << block;
        loudest = std::max(loudest, host.Peak());
    }
    EXPECT_GT(loudest, 0.05F);
    EXPECT_LT(loudest, 8.0F);
}

TEST(InstrumentBadInput, AnyCallsWithAnyValuesLeaveAnInstrumentThatPlays) {
    for (const u32 seed : {1U, 2U, 3U}) {
        RandomHost host(seed);
        for (int block = 0; block < 4000; ++block) {
            for (u32 call = host.Below(40); call > 0; --call) {
                host.SetAnything();
            }
            for (u32 event = host.Below(4); event > 0; --event) {
                host.PushAnything();
            }
            if (host.Below(100) == 0) {
                const Velmora::Processor::ProcessorSetup setUp{44100.0F};
                host.processor->Initialize(&setUp);
            }
            host.tempo = host.AnyNumber();
            host.songPosition = host.AnyNumber();
            const float sample = host.AnyNumber();
            host.Block(4 * host.Below(12), host.Below(3), host.Below(2) == 0 ? &sample : nullptr);
            ASSERT_TRUE(std::isfinite(host.Peak())) << "seed " << seed << ", block " << block;
            if (block % 1000 == 999) {
                ExpectSoundAfterPreset(host);
            }
        }
    }
}

} // namespace
} // namespace orphia::test
