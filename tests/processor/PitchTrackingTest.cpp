// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/PlayedRig.h"

#include <gtest/gtest.h>

#include <limits>

namespace orphia::test {
namespace {

using namespace Velmora::Processor;

TEST(PitchTracking, TrackedVoicesFollowThePitchWithinItsRange) {
    PlayedRig rig;
    rig.SetCarrier(Carrier::PitchTrack, 1.0F);
    rig.SetCarrier(Carrier::PitchTrackHoldNoteDuration, 0.0F);
    for (const float lost : {19.99F, 20000.1F, 0.0F, std::numeric_limits<float>::quiet_NaN()}) {
        rig.Track(lost);
        rig.Run(3);
        EXPECT_EQ(rig.ActiveCount(), 0U) << lost;
    }
    for (const float found : {20.0F, 20000.0F, 220.0F}) {
        rig.Track(found);
        rig.Run(3);
        ASSERT_EQ(rig.ActiveCount(), 1U) << found;
        EXPECT_FLOAT_EQ(rig.FrequencyOf(32), found);
    }
    rig.hasPitchInput = false; // tracking rests
    rig.Run(100);
    EXPECT_EQ(rig.ActiveCount(), 1U);
    rig.Track(0.0F);
    rig.Run(1);
    EXPECT_EQ(rig.ActiveCount(), 1U); // in its release
    rig.Run(60);
    EXPECT_EQ(rig.ActiveCount(), 0U);
    rig.Track(220.0F);
    rig.Run(2);
    rig.SetCarrier(Carrier::PitchTrack, 0.0F);
    rig.Run(1);
    EXPECT_EQ(rig.ActiveCount(), 0U);
    EXPECT_TRUE(rig.played->Modulations().VoiceOrder().empty());
}

TEST(PitchTracking, HoldTimeBridgesGaps) {
    PlayedRig rig;
    rig.SetCarrier(Carrier::PitchTrack, 1.0F);
    rig.SetCarrier(Carrier::PitchTrackHoldNoteDuration, 0.2F);
    rig.Track(110.0F);
    rig.Run(10);
    rig.Track(0.0F);
    rig.RunSeconds(0.15);
    EXPECT_TRUE(rig.Sound().Voice(32).IsGateOpen());
    rig.Track(110.0F);
    rig.Run(10);
    // What earlier gaps used up shortens the later ones.
    rig.Track(0.0F);
    rig.RunSeconds(0.06);
    EXPECT_FALSE(rig.Sound().Voice(32).IsGateOpen());
}

TEST(PitchTracking, QuantisedTrackingSnapsTo440HzTuning) {
    PlayedRig rig;
    rig.SetCarrier(Carrier::PitchTrack, 1.0F);
    rig.SetCarrier(Carrier::PitchTrackQuantize, 1.0F);
    rig.SetCarrier(Carrier::MasterTune, 450.0F);
    rig.Track(430.0F); // 439.8 Hz as tuned
    rig.Run(2);
    EXPECT_NEAR(rig.FrequencyOf(32), 440.0F, 1e-3F);
    rig.Track(19000.0F); // above the last note
    rig.SetCarrier(Carrier::PitchTrackHoldNoteDuration, 0.0F);
    rig.Run(2);
    EXPECT_FALSE(rig.Sound().Voice(32).IsGateOpen());
}

TEST(PitchTracking, ChordIntervalsFollowTheTrackedPitch) {
    PlayedRig rig;
    rig.SetCarrier(Carrier::PitchTrack, 1.0F);
    rig.SetChord(0, true);
    rig.Track(200.0F);
    rig.Run(5);
    EXPECT_EQ(rig.ActiveCount(), 0U); // a chord of no intervals
    rig.SetChord(2 + 7, true);
    rig.SetChord(2 + 12, true);
    rig.Run(5);
    ASSERT_EQ(rig.ActiveCount(), 2U);
    EXPECT_NEAR(Cents(rig.FrequencyOf(39), 200.0), 700.0, 0.01);
    EXPECT_NEAR(Cents(rig.FrequencyOf(44), 200.0), 1200.0, 0.01);
    rig.SetChord(2 + 7, false);
    rig.RunSeconds(0.1);
    EXPECT_EQ(rig.ActiveCount(), 1U);
    // An interval that comes back in its release fades and starts anew.
    rig.Set(VocoderProcessor::Release, 1.0F);
    rig.SetChord(2 + 12, false);
    rig.Run(5);
    rig.SetChord(2 + 12, true);
    rig.Run(20);
    EXPECT_TRUE(rig.Sound().Voice(44).IsGateOpen());
    EXPECT_EQ(rig.Sound().Killer(44).FindParameter(0)->GetValue(), 0.0F);
}

} // namespace
} // namespace orphia::test
