// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/AllocationCounter.h"
#include "rigs/FakeVoices.h"

using namespace Velmora;
using namespace Velmora::Test;

namespace {

using Notes = std::vector<i32>;
using NoteSet = std::set<i32>;
constexpr std::array<u32, 5> table = {1, 1, 4, 8, 32};

class VoiceManagerTest : public testing::Test {
protected:
    /// One block per note, so that every voice has an age of its own.
    void Press(const std::vector<u8>& notes) {
        for (const u8 note : notes) {
            voices.On(note);
            voices.RunBlocks(1);
        }
    }
    void Mono(i32 legato = 0) { voices.SetPolyphonyMode(legato, table); }

    FakeVoices voices;
};

TEST_F(VoiceManagerTest, RepeatedNoteTakesItsOwnSlotAndComesBackToItsFormerOne) {
    Press({60, 64, 60});
    voices.RunBlocks(1);
    EXPECT_EQ(voices.Sounding(), (Notes{60, 64}));
    EXPECT_EQ(voices.fakes[0].fresh, 2U);
    voices.Off(60);
    voices.RunBlocks(5);
    Press({67, 60}); // 67 goes round, 60 goes home, and the round goes on from where it was
    Press({69});
    EXPECT_EQ(voices.Sounding(), (Notes{60, 64, 67, 69}));
    EXPECT_TRUE(voices.Voice(3).active);
}

TEST_F(VoiceManagerTest, TheOldestReleasedVoiceIsStolenFirstThenTheOldestSoundingOne) {
    voices.SetPolyphonyMode(2, table);
    Press({60, 61, 62, 63});
    const u64 soundingCost = voices.FindVoiceToSteal().cost;
    voices.releaseBlocks = 100;
    voices.Off(62);
    voices.Off(61);
    EXPECT_EQ(voices.FindVoiceToSteal().slot, 1U);
    EXPECT_LT(voices.FindVoiceToSteal().cost, soundingCost);
    const std::array<NoteSet, 3> remaining = {NoteSet{60, 63, 70}, {60, 63, 70, 71}, {63, 70, 71, 72}};
    for (u32 i = 0; i < 3; ++i) {
        voices.On(static_cast<u8>(70 + i));
        EXPECT_EQ(voices.Owners(), remaining[i]);
    }
    EXPECT_EQ(voices.PendingCount(), 3U);
    EXPECT_EQ(voices.ActiveVoiceCount(), 4U);
    voices.RunBlocks(voices.fadeBlocks);
    EXPECT_EQ(voices.Sounding(), (Notes{72, 70, 71, 63})) << "each starts where the fade ended";
    voices.SetStealMode(1);
    Press({73});
    EXPECT_EQ(voices.Sounding(), (Notes{72, 70, 71, 73})) << "without a fade, at once";
    EXPECT_EQ(voices.fakes[3].slides, 1U);
}

TEST_F(VoiceManagerTest, TheCounterOfPressesDoesNotRunOver) {
    for (u32 i = 0; i < 258; ++i) {
        voices.On(60);
    }
    voices.RunBlocks(3);
    EXPECT_EQ(voices.Owners(), NoteSet{60});
}

TEST_F(VoiceManagerTest, WithChannelsApartANoteOffServesItsOwnChannelOnly) {
    voices.SetIgnoreChannel(false);
    voices.On(60, 3);
    voices.Off(60, 2);
    EXPECT_EQ(voices.Owners(), NoteSet{60});
    voices.SetSustain(true);
    voices.Off(60, 3);
    voices.On(60, 3);
    voices.RunBlocks(3);
    voices.SetSustain(false);
    voices.Off(60, 2);
    EXPECT_EQ(voices.Owners(), NoteSet{60}) << "pressed again, and only another channel lifted";
}

TEST_F(VoiceManagerTest, ThePedalLetsMoreKeysGoThanItCanHold) {
    voices.SetIgnoreChannel(false);
    voices.SetSustain(true);
    for (const bool down : {true, false}) {
        for (u32 key = 0; key < 140; ++key) {
            const u8 note = static_cast<u8>(key % 70);
            const u8 channel = static_cast<u8>(key / 70);
            down ? voices.On(note, channel) : voices.Off(note, channel);
            voices.RunBlocks(down ? 3 : 0);
        }
    }
    EXPECT_EQ(voices.HeldNoteCount(), 128U);
    voices.SetSustain(false);
    EXPECT_TRUE(voices.Owners().empty());
}

TEST_F(VoiceManagerTest, AllocationTwoReusesTheSlotReleasedLastOnceForEachNoteIfThereStillIsOne) {
    voices.SetAllocation(2);
    Press({60, 61, 62, 63, 64});
    voices.Off(61);
    voices.Off(60);
    voices.Off(64);
    voices.SetPolyphonyMode(2, table); // without the slot of 64
    for (const u8 note : {u8{70}, u8{71}, u8{72}}) {
        voices.On(note);
    }
    voices.RunBlocks(3);
    EXPECT_EQ(voices.Sounding()[0], 70);
    EXPECT_EQ(voices.Sounding()[1], 71);
    EXPECT_EQ(voices.ActiveVoiceCount(), 4U);
}

TEST_F(VoiceManagerTest, SameNoteLimitRestrikesTheOldestOfThatNote) {
    voices.SetAllocation(0); // every strike has a slot of its own
    voices.SetSameNoteLimit(true, 2);
    Press({60, 50, 60, 60});
    voices.RunBlocks(2);
    EXPECT_EQ(voices.Sounding(), (Notes{60, 50, 60}));
    EXPECT_GT(voices.Voice(0).age, voices.Voice(2).age);
}

TEST_F(VoiceManagerTest, MonoFadesBetweenNotesAndLegatoSlidesUnlessAFadeRuns) {
    Mono();
    Press({60});
    voices.On(64);
    voices.RunBlocks(voices.fadeBlocks);
    EXPECT_EQ(voices.fakes[0].fresh, 2U);
    EXPECT_EQ(voices.fakes[0].slides, 0U);
    Mono(1);
    Press({67});
    voices.Off(67);
    EXPECT_EQ(voices.Sounding(), Notes{64});
    EXPECT_EQ(voices.fakes[0].fresh, 2U);
    EXPECT_EQ(voices.fakes[0].slides, 2U);
    Mono(0);
    voices.On(62);
    Mono(1);
    voices.On(63);
    voices.Off(63);
    voices.RunBlocks(voices.fadeBlocks);
    EXPECT_EQ(voices.Sounding(), Notes{62}) << "the keys 60, 64 and 62 are down";
    EXPECT_EQ(voices.fakes[0].slides, 2U);
}

TEST_F(VoiceManagerTest, NewestHeldVoiceIsTheLastAssignedEvenWithinABlock) {
    Press({60, 61, 62});
    voices.Off(60);
    voices.RunBlocks(4);
    voices.On(64);
    voices.On(60); // comes back to slot 0
    EXPECT_EQ(voices.NewestHeldVoice(), 0);
    voices.Off(60);
    EXPECT_EQ(voices.NewestHeldVoice(), 3);
    EXPECT_EQ(voices.FindVoice(60, 0), -1);
    EXPECT_EQ(voices.FindVoice(61, 1), -1);
    voices.ResetAll();
    EXPECT_EQ(voices.NewestHeldVoice(), -1);
    voices.fakes = {};
    voices.On(99);
    EXPECT_EQ(voices.NewestHeldVoice(), 0) << "the round begins anew";
}

TEST_F(VoiceManagerTest, AFullQueueOfEventsWithoutAllocation) {
    for (i32 run = 0; run < 4; ++run) {
        const orphia_reference::AllocationCounter counter;
        voices.SetAllocation(1 + (run & 1));
        voices.SetPolyphonyMode(run < 2 ? 4 : 2, table);
        for (const bool down : {true, false}) {
            for (u8 note = 0; note < 128; ++note) {
                down ? voices.On(note) : voices.Off(note);
            }
        }
        voices.RunBlocks(10);
        EXPECT_EQ(counter.Count(), 0U);
        EXPECT_EQ(voices.ActiveVoiceCount() + voices.HeldNoteCount() + voices.PendingCount(), 0U);
    }
}

} // namespace
