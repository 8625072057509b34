// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/instrument/PlayedRig.h"

#include <gtest/gtest.h>

namespace orphia::test {
namespace {

TEST(KeysAndChords, ANoteThatEndsInTheBlockOfItsStartIsHeardForABlock) {
    PlayedRig rig;
    rig.Set(VocoderProcessor::Release, 0.1F);
    for (const bool isRinging : {false, true}) {
        rig.NoteOn(60);
        rig.NoteOff(60);
        u32 openBlocks = 0;
        for (u32 block = 0; block < 20; ++block) { // the fade of what rings takes seven
            rig.Run();
            openBlocks += rig.IsGateOpen(0) && block >= (isRinging ? 4 : 0) ? 1 : 0;
        }
        EXPECT_EQ(openBlocks, 1U);
        EXPECT_GT(Peak(rig.block), 0.01F);
        EXPECT_EQ(rig.HeldCount(), 0U);
    }
}

TEST(KeysAndChords, TheMonoVoiceGlidesBackAsItGlidUp) {
    for (const float mode : {0.0F, 1.0F}) {
        PlayedRig rig;
        rig.Set(VocoderProcessor::PolyphonyMode, mode);
        rig.SetCarrier(Carrier::GlideTime, 0.4F);
        rig.NoteOn(60);
        rig.RunSeconds(0.1);
        rig.NoteOn(72);
        rig.RunSeconds(0.6);
        rig.NoteOff(72);
        rig.RunSeconds(0.2);
        EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(66)), 0.0, 30.0) << mode;
        rig.RunSeconds(0.3);
        EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(60)), 0.0, 0.01) << mode;
        rig.NoteOff(60);
        rig.NoteOn(72);
        rig.RunSeconds(0.02);
        EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(72)), 0.0, 0.01) << "not tied";
    }
}

TEST(KeysAndChords, WithMpeChannelAndNoteAreTheKeyAndAllNotesOffEndsAll) {
    PlayedRig rig;
    for (const float mpe : {1.0F, 0.0F}) {
        rig.Set(MpeEnabled, mpe);
        rig.SetChord(0, mpe < 0.5F);
        rig.SetChord(2, true);
        rig.Run();
        rig.Send({0x91, 60, 100});
        rig.Send({0x92, 60, 100});
        rig.RunSeconds(0.05);
        EXPECT_EQ(rig.ActiveCount(), mpe > 0.5F ? 2U : 1U);
        rig.Send({0x81, 60, 0});
        rig.RunSeconds(0.05);
        EXPECT_EQ(rig.ActiveCount(), mpe > 0.5F ? 1U : 0U) << "the other channel's key is another";
        rig.Send({0x91, 60, 100});
        rig.Send({0x93, 64, 100});
        rig.Run();
        rig.SetPosition(AllNotesOff, 1.0F);
        rig.RunSeconds(0.05);
        rig.SetPosition(AllNotesOff, 0.0F);
        EXPECT_EQ(rig.ActiveCount() + rig.HeldCount(), 0U);
    }
}

struct TrackedChord : testing::Test {
    PlayedRig rig;
    TrackedChord() {
        rig.SetCarrier(Carrier::PitchTrack, 1.0F);
        rig.Set(VocoderProcessor::Release, 5.0F);
    }
    void Chord(bool on) { rig.SetChord(0, on); }
    void Interval(u32 interval, bool on) { rig.SetChord(2 + interval, on); }
};

TEST_F(TrackedChord, ItsVoicesAreTheChordAtOnceWhateverRings) {
    Interval(7, true);
    rig.Track(200.0F, 5);
    Chord(true);
    rig.Run(2);
    EXPECT_TRUE(rig.IsGateOpen(39));
    EXPECT_TRUE(rig.IsGateOpen(32)) << "a root that sounds goes on";
    Interval(7, false);
    Interval(12, true);
    rig.Run(2);
    EXPECT_FALSE(rig.IsGateOpen(39));
    EXPECT_TRUE(rig.IsGateOpen(44));
    Interval(0, true);
    rig.Run(2);
    Interval(0, false);
    for (u32 block = 0; block < 50; ++block) {
        rig.Run();
        ASSERT_FALSE(rig.IsGateOpen(32)) << "the root has been taken out";
    }
    Chord(false);
    rig.Run(20);
    EXPECT_TRUE(rig.IsGateOpen(32));
    EXPECT_FALSE(rig.IsGateOpen(44));
    Interval(0, false); // as it is
    rig.Run();
    EXPECT_TRUE(rig.IsGateOpen(32));
}

TEST_F(TrackedChord, GlidesWithoutItsRootToo) {
    rig.SetCarrier(Carrier::GlideTime, 2.0F);
    Interval(12, true);
    Chord(true);
    rig.Track(110.0F, 5);
    EXPECT_NEAR(Cents(rig.FrequencyOf(44), 220.0), 0.0, 0.01);
    rig.Track(440.0F, 5);
    EXPECT_LT(rig.FrequencyOf(44), 400.0F);
}

} // namespace
} // namespace orphia::test
