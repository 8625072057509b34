// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/AllocationCounter.h"
#include "rigs/VoiceGame.h"

#include <random>

using namespace Velmora;
using namespace Velmora::Test;

namespace {

TEST(VoiceManagerTest, GivesTheOrdersOfThePolicyInEveryPerformance) {
    for (u32 seed = 0; seed < 1500 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        VoiceGame game([random = std::mt19937(seed)](u32 limit) mutable {
            return static_cast<u32>(random() % (limit + u64{1}));
        });
        for (u32 i = 0; i < 250 && !HasFailure(); ++i) {
            game.Advance();
        }
        game.End();
    }
}

TEST(VoiceManagerTest, WithChannelsApartANoteOffServesItsOwnChannelOnly) {
    FakeVoices voices;
    voices.SetIgnoreChannel(false);
    voices.Send(0x93, 60, 100);
    voices.Send(0x82, 60, 0);
    voices.SetSustain(true);
    voices.Send(0x83, 60, 0);
    voices.Send(0x93, 60, 100);
    voices.mayEnd.fill(true);
    voices.ReapVoices();
    voices.SetSustain(false);
    voices.Send(0x82, 60, 0);
    EXPECT_EQ(voices.orders, (Orders{{'S', 0, 60}, {'K', 0}, {'F', 0}, {'S', 0, 60}}));
}

TEST(VoiceManagerTest, ThePedalLetsMoreKeysGoThanItCanHoldWithoutAllocation) {
    FakeVoices voices;
    voices.SetIgnoreChannel(false);
    voices.SetSustain(true);
    voices.orders.reserve(10000);
    const orphia_reference::AllocationCounter counter;
    for (const u32 status : {0x90U, 0x80U}) {
        for (u32 key = 0; key < 140; ++key) {
            voices.Send(status + key / 70, key % 70, 100);
        }
    }
    EXPECT_EQ(voices.HeldNoteCount(), 128U);
    voices.SetSustain(false);
    EXPECT_EQ(voices.NewestHeldVoice(), -1);
    for (u32 i = 0; i < 258; ++i) { // the counter of presses does not run over
        voices.Send(0x90, 99, 1);
    }
    voices.mayEnd.fill(true);
    voices.ReapVoices();
    EXPECT_EQ(voices.ActiveVoices().size(), 32U);
    EXPECT_EQ(counter.Count(), 0U);
    voices.ResetAll();
    EXPECT_EQ(voices.ActiveVoices().size() + voices.HeldNoteCount() + voices.PressTable()[99], 0U);
}

TEST(VoiceManagerTest, ANoteTakesItsWholeGroup) {
    FakeVoices voices;
    voices.SetUnison(3);
    voices.Send(0x90, 60, 1);
    voices.Send(0x90, 64, 1);
    voices.Send(0x80, 60, 1);
    EXPECT_EQ(voices.orders, (Orders{{'S', 0, 60},
                                     {'S', 1, 60},
                                     {'S', 2, 60},
                                     {'S', 3, 64},
                                     {'S', 4, 64},
                                     {'S', 5, 64},
                                     {'R', 0},
                                     {'R', 1},
                                     {'R', 2}}));
    for (u32 note = 0; note < 9; ++note) { // slots 30 and 31 are no group
        voices.Send(0x90, note, 1);
    }
    EXPECT_EQ(voices.ActiveVoices().size(), 30U);
    EXPECT_EQ(voices.PendingNote(2).note, 8) << "the released group is stolen";
}

} // namespace
