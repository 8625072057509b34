// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/tuning_library/TestTuning.h"
#include "processor/instrument/PlayedRig.h"
#include "support/platform/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace orphia::test {
namespace {

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
    const std::string path = std::string(ORPHIA_TEST_TUNING "/complete.so");
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

} // namespace
} // namespace orphia::test
