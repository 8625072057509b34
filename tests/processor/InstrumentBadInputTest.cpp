// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/RandomHost.h"

#include <gtest/gtest.h>

namespace orphia::test {
namespace {

using Velmora::u32;
using Velmora::u8;

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

TEST(InstrumentBadInput, EveryEventIsHarmless) {
    RandomHost host(4);
    host.LoadPreset();
    for (u32 status = 0; status < 256; ++status) {
        for (u32 i = 0; i < 300; ++i) { // more than the queue takes
            const u8 midi[3] = {static_cast<u8>(status), static_cast<u8>(host.Below(256)),
                                static_cast<u8>(host.Below(256))};
            EXPECT_TRUE(host.processor->PushEvent(midi));
        }
        host.Block();
        ASSERT_TRUE(std::isfinite(host.Peak())) << status;
    }
    ExpectSoundAfterPreset(host);
}

TEST(InstrumentBadInput, EachTypeOfEffectSurvivesAnySettingOfItsOwn) {
    constexpr u32 firstSlot = 1589;
    constexpr u32 typeId = firstSlot + 225;
    for (u32 type = 0; type < 12; ++type) {
        RandomHost host(10 + type);
        host.LoadPreset();
        host.NoteOn(45);
        for (int block = 0; block < 600; ++block) {
            host.processor->SetParameter(typeId, static_cast<float>(type) / 12.0F + 0.01F);
            for (u32 call = 0; call < 20; ++call) {
                host.processor->SetParameter(firstSlot + host.Below(225), host.AnyNumber());
            }
            host.Block();
            ASSERT_TRUE(std::isfinite(host.Peak())) << "type " << type << ", block " << block;
        }
        ExpectSoundAfterPreset(host);
    }
}

} // namespace
} // namespace orphia::test
