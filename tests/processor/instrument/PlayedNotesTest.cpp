// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/tuning_library/TestTuning.h"
#include "processor/instrument/PlayedRig.h"
#include "support/platform/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace orphia::test {
namespace {

float LargestStep(const std::vector<float>& signal) {
    float largest = 0.0F;
    for (std::size_t n = 1; n < signal.size(); ++n) {
        largest = std::max(largest, std::abs(signal[n] - signal[n - 1]));
    }
    return largest;
}

TEST(PlayedNotes, NotesHaveTheirPitchAtEveryRate) {
    for (const float rate : {44100.0F, 96000.0F, 192000.0F}) {
        for (const u8 note : std::initializer_list<u8>{16, 48, 69, 100, 125}) {
            PlayedRig rig(rate);
            rig.NoteOn(note);
            rig.Run(8);
            rig.left.clear();
            rig.RunSeconds(2.0);
            const double hz = MeasurePitch(rig.left, NoteHz(note), rate);
            EXPECT_NEAR(Cents(hz, NoteHz(note)), 0.0, 0.05) << "note " << int{note} << " at " << rate;
        }
    }
}

TEST(PlayedNotes, LegatoGlidesStraightInSemitonesAndOnlyFromAHeldNote) {
    PlayedRig rig;
    rig.Set(VocoderProcessor::PolyphonyMode, 1.0F);
    rig.SetCarrier(Carrier::GlideTime, 0.4F);
    rig.NoteOn(60);
    rig.Run(2);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(60)), 0.0, 0.01);
    rig.NoteOn(72);
    const auto blocksOfHalf = static_cast<u32>(std::lround(0.2 * rig.rate / rig.blockSize));
    rig.Run(blocksOfHalf);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(66)), 0.0, 10.0);
    rig.Run(blocksOfHalf + 2);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(72)), 0.0, 0.01);
    rig.NoteOff(60);
    rig.NoteOff(72);
    rig.RunSeconds(0.1);
    rig.NoteOn(48);
    rig.Run(2);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(48)), 0.0, 0.01);
}

TEST(PlayedNotes, NextGlideStartsFromTheNewestHeldNote) {
    PlayedRig rig;
    rig.SetCarrier(Carrier::GlideTime, 1.0F);
    for (const u8 note : std::initializer_list<u8>{60, 62, 72}) {
        rig.NoteOn(note);
        rig.RunSeconds(2.0);
    }
    rig.NoteOff(72);
    rig.NoteOn(65);
    rig.Run();
    EXPECT_NEAR(Cents(rig.FrequencyOf(3), NoteHz(62)), 0.0, 5.0);
}

TEST(PlayedNotes, StolenVoicesFadeWithoutAClick) {
    PlayedRig rig;
    rig.Set(VocoderProcessor::PolyphonyMode, 2.0F); // two voices
    rig.Set(VocoderProcessor::Attack, 0.02F);
    rig.NoteOn(45);
    rig.NoteOn(49);
    rig.RunSeconds(0.2);
    const float ofPlaying = LargestStep(rig.left);
    rig.left.clear();
    for (u8 note = 50; note < 60; ++note) {
        rig.NoteOn(note);
        rig.RunSeconds(0.03);
    }
    // Later notes are higher, and their fades steeper, but nothing jumps.
    EXPECT_LT(LargestStep(rig.left), 4.0F * ofPlaying);
    EXPECT_LE(rig.ActiveCount(), 2U);
}

TEST(PlayedNotes, VoicesStartAgainAfterAPresetWasLoaded) {
    PlayedRig rig;
    rig.SetCarrier(Carrier::PitchTrack, 1.0F);
    rig.SetCarrier(Carrier::GlideTime, 1.0F);
    // One cycle per block, for the tracker of the external input.
    const float cycle = 44100.0F / static_cast<float>(rig.blockSize);
    for (u32 n = 0; n < rig.blockSize; ++n) {
        rig.external[n] =
            0.5F * std::sin(6.2831853F * static_cast<float>(n) / static_cast<float>(rig.blockSize));
    }
    rig.NoteOn(60);
    rig.RunSeconds(0.2);
    rig.played->Reset(false);
    rig.RunSeconds(0.2);
    EXPECT_EQ(rig.ActiveCount(), 1U); // the pitch is there; the key must be pressed anew
    EXPECT_NEAR(rig.FrequencyOf(32), cycle, 1.0F);
    EXPECT_GT(Peak(rig.block), 0.3F);
}

TEST(PlayedNotes, AKnobOfSemitonesStandsOnThemAndItsModulationDoesNot) {
    const auto expectNote = [](PlayedRig& rig, double note) {
        rig.Run(4);
        rig.left.clear();
        rig.RunSeconds(1.0);
        EXPECT_NEAR(Cents(MeasurePitch(rig.left, NoteHz(note), rig.rate), NoteHz(note)), 0.0, 0.1) << note;
    };
    PlayedRig rig;
    const u32 coarse =
        VocoderProcessor::FirstParameter<3>() + Oscillators::ParameterId(Oscillators::Osc1Coarse);
    rig.played->SetParameterNormalized(coarse, 0.504F); // still the step of 0
    rig.NoteOn(40, 32);
    expectNote(rig, 40.0);
    // Half of the range of 120 semitones per unit, not rounded to whole ones.
    rig.Route(VelocitySource, Osc1CoarseDestination, 0.5F);
    expectNote(rig, 40.0 + 60.0 * 32.0 / 127.0);
}

TEST(PlayedNotes, TuningReachesNotesAsTheyStartAndWhileTheySound) {
    const std::string path = std::string(ORPHIA_TEST_TUNING) + "/complete.so";
    const Velmora::Platform::DynamicLibrary library(path);
    TestTuning& tuning = *library.FindFunction<TestTuning*()>("TestTuning_State")();
    tuning = {};
    tuning.hasMaster = true;
    tuning.unmappedNote = 61;
    const auto tuneTo = [&tuning](double divisions) {
        for (u32 note = 0; note < 128; ++note) {
            tuning.table[note] = 440.0 * std::exp2((note - 69.0) / divisions);
        }
    };
    tuneTo(19.0);
    PlayedRig rig(44100.0F, path);
    rig.NoteOn(60);
    rig.NoteOn(61); // has no place in the tuning
    rig.Run(2);
    EXPECT_EQ(rig.ActiveCount(), 1U);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), tuning.table[60]), 0.0, 0.01);
    tuneTo(24.0);
    rig.Run(2);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), tuning.table[60]), 0.0, 0.01);
    rig.Set(MtsRetuningMode, 0.0F); // at note start only
    rig.Run();
    const float before = rig.FrequencyOf(0);
    tuneTo(12.0);
    rig.Run(2);
    EXPECT_EQ(rig.FrequencyOf(0), before);
}

struct PitchTracking : testing::Test {
    PlayedRig rig;
    PitchTracking() { rig.SetCarrier(Carrier::PitchTrack, 1.0F); }
};

TEST_F(PitchTracking, TrackedVoicesFollowThePitchWithinItsRange) {
    rig.SetCarrier(Carrier::PitchTrackHoldNoteDuration, 0.0F);
    for (const float hz : {19.99F, 20000.1F, 0.0F, std::nanf(""), 20.0F, 20000.0F, 220.0F}) {
        const bool isFound = hz >= 20.0F && hz <= 20000.0F;
        rig.Track(hz, 3);
        ASSERT_EQ(rig.ActiveCount(), isFound ? 1U : 0U) << hz;
        EXPECT_TRUE(!isFound || rig.FrequencyOf(32) == hz) << hz;
    }
    rig.hasPitchInput = false; // tracking rests
    rig.Run(100);
    EXPECT_EQ(rig.ActiveCount(), 1U);
    rig.Track(0.0F, 60); // through its release
    EXPECT_EQ(rig.ActiveCount(), 0U);
    rig.Track(220.0F, 2);
    rig.SetCarrier(Carrier::PitchTrack, 0.0F);
    rig.Run(1);
    EXPECT_EQ(rig.ActiveCount(), 0U);
    EXPECT_TRUE(rig.played->Modulations().VoiceOrder().empty());
}

TEST_F(PitchTracking, EarlierGapsShortenTheHoldOfLaterOnes) {
    rig.SetCarrier(Carrier::PitchTrackHoldNoteDuration, 0.2F);
    for (const double gap : {0.15, 0.06}) {
        rig.Track(110.0F, 10);
        rig.Track(0.0F);
        rig.RunSeconds(gap);
        EXPECT_EQ(rig.IsGateOpen(32), gap == 0.15);
    }
}

TEST_F(PitchTracking, QuantisedTrackingSnapsTo440HzTuning) {
    rig.SetCarrier(Carrier::PitchTrackQuantize, 1.0F);
    rig.SetCarrier(Carrier::MasterTune, 450.0F);
    rig.Track(430.0F, 2); // 439.8 Hz as tuned
    EXPECT_NEAR(rig.FrequencyOf(32), 440.0F, 1e-3F);
    rig.SetCarrier(Carrier::PitchTrackHoldNoteDuration, 0.0F);
    rig.Track(19000.0F, 2); // above the last note
    EXPECT_FALSE(rig.IsGateOpen(32));
}

TEST_F(PitchTracking, AnIntervalThatComesBackInItsReleaseFadesAndStartsAnew) {
    rig.Set(VocoderProcessor::Release, 1.0F);
    rig.SetChord(0, true);
    rig.Track(200.0F, 5);
    EXPECT_EQ(rig.ActiveCount(), 0U); // a chord of no intervals
    for (const bool on : {true, false, true}) {
        rig.SetChord(2 + 12, on);
        rig.Run(20);
        EXPECT_EQ(rig.IsGateOpen(44), on);
    }
    EXPECT_EQ(rig.played->CarrierSynth().Killer(44).FindParameter(0)->GetValue(), 0.0F);
}

} // namespace
} // namespace orphia::test
