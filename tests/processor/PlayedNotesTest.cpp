// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/tuning_library/TestTuning.h"
#include "processor/PlayedRig.h"
#include "reference/AllocationCounter.h"
#include "support/platform/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace orphia::test {
namespace {

using namespace Velmora::Processor;

float LargestStep(const std::vector<float>& signal, std::size_t from = 1) {
    float largest = 0.0F;
    for (std::size_t n = std::max<std::size_t>(from, 1); n < signal.size(); ++n) {
        largest = std::max(largest, std::abs(signal[n] - signal[n - 1]));
    }
    return largest;
}

float Peak(const std::vector<float>& signal) {
    float peak = 0.0F;
    for (const float x : signal) {
        peak = std::max(peak, std::abs(x));
    }
    return peak;
}

TEST(PlayedNotes, NotesHaveTheirPitchAtEveryRate) {
    for (const float rate : {44100.0F, 96000.0F, 192000.0F}) {
        for (const u8 note : std::initializer_list<u8>{16, 48, 69, 100, 125}) {
            PlayedRig rig(rate);
            rig.NoteOn(note);
            rig.Run(8);
            rig.Forget();
            rig.RunSeconds(2.0);
            const double hz = MeasurePitch(rig.left, NoteHz(note), rate);
            EXPECT_NEAR(Cents(hz, NoteHz(note)), 0.0, 0.05) << "note " << int{note} << " at " << rate;
        }
    }
}

TEST(PlayedNotes, TuningIs440UntilMasterTuneIsSet) {
    PlayedRig rig;
    rig.NoteOn(69);
    rig.Run(2);
    EXPECT_NEAR(rig.FrequencyOf(0), 440.0F, 1e-3F);
    rig.SetCarrier(Carrier::MasterTune, 432.0F);
    rig.Run();
    EXPECT_NEAR(rig.FrequencyOf(0), 432.0F, 1e-3F);
}

TEST(PlayedNotes, BendMovesAllVoicesByItsRange) {
    PlayedRig rig;
    rig.Set(VocoderProcessor::PitchBendRange, 12.0F);
    rig.NoteOn(60);
    rig.NoteOn(67);
    rig.Run(3);
    rig.Set(PitchBend, -1.0F);
    rig.RunSeconds(0.1);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(48)), 0.0, 0.01);
    EXPECT_NEAR(Cents(rig.FrequencyOf(1), NoteHz(55)), 0.0, 0.01);
}

TEST(PlayedNotes, LegatoGlidesStraightInSemitonesAndOnlyFromAHeldNote) {
    PlayedRig rig;
    rig.Set(VocoderProcessor::PolyphonyMode, 1.0F);
    rig.SetCarrier(Carrier::GlideTime, 0.4F);
    rig.NoteOn(60);
    rig.Run(2);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(60)), 0.0, 0.01);
    rig.NoteOn(72);
    const double blockSeconds = rig.blockSize / static_cast<double>(rig.rate);
    const auto blocksOfHalf = static_cast<u32>(std::lround(0.2 / blockSeconds));
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

TEST(PlayedNotes, VoicesAddWithoutNormalisation) {
    PlayedRig one;
    one.NoteOn(57);
    one.RunSeconds(0.3);
    PlayedRig two;
    two.NoteOn(57);
    two.SetChord(0, true);
    two.SetChord(2, true);
    two.SetChord(14, true); // an octave above
    two.RunSeconds(0.3);
    EXPECT_EQ(two.ActiveCount(), 2U);
    EXPECT_GT(Peak(two.left), 1.5F * Peak(one.left));
}

TEST(PlayedNotes, SilenceBetweenNotesIsExactAndVoicesAreFreed) {
    PlayedRig rig;
    for (const u8 note : std::initializer_list<u8>{40, 52, 64}) {
        rig.NoteOn(note);
    }
    rig.RunSeconds(0.05);
    EXPECT_EQ(rig.ActiveCount(), 3U);
    EXPECT_GT(Peak(rig.left), 0.1F);
    for (const u8 note : std::initializer_list<u8>{40, 52, 64}) {
        rig.NoteOff(note);
    }
    rig.RunSeconds(0.05);
    rig.Forget();
    rig.Run(10);
    EXPECT_EQ(rig.ActiveCount(), 0U);
    EXPECT_TRUE(rig.played->Modulations().VoiceOrder().empty());
    EXPECT_EQ(Peak(rig.left), 0.0F);
}

TEST(PlayedNotes, StolenVoicesFadeWithoutAClick) {
    PlayedRig rig;
    rig.Set(VocoderProcessor::PolyphonyMode, 2.0F); // two voices
    rig.Set(VocoderProcessor::Attack, 0.02F);
    rig.NoteOn(45);
    rig.NoteOn(49);
    rig.RunSeconds(0.2);
    const float ofPlaying = LargestStep(rig.left);
    rig.Forget();
    for (u8 note = 50; note < 60; ++note) {
        rig.NoteOn(note);
        rig.RunSeconds(0.03);
    }
    // Later notes are higher, and their fades steeper, but nothing jumps.
    EXPECT_LT(LargestStep(rig.left), 4.0F * ofPlaying);
    EXPECT_LE(rig.ActiveCount(), 2U);
}

TEST(PlayedNotes, RandomPlayingLeavesNothingBehind) {
    std::mt19937 random(7);
    const auto below = [&random](u32 n) { return static_cast<u32>(random() % n); };
    PlayedRig rig;
    const orphia_reference::AllocationCounter allocations;
    for (int round = 0; round < 200; ++round) {
        for (int step = 0; step < 60; ++step) {
            for (u32 i = below(12); i > 0; --i) {
                // Any three bytes may come, top bits included.
                rig.events.AppendMidi(static_cast<u8>(0x80 + below(48)), static_cast<u8>(below(140)),
                                      static_cast<u8>(below(256)));
            }
            if (below(8) == 0) {
                rig.Set(VocoderProcessor::PolyphonyMode, static_cast<float>(below(13)));
            }
            if (below(8) == 0) {
                rig.Set(Sustain, static_cast<float>(below(2)));
            }
            if (below(4) == 0) {
                rig.SetChord(below(27), below(2) == 1);
            }
            if (below(6) == 0) {
                rig.SetVoice(Oscillators::Osc1Waveform, static_cast<float>(below(4)));
                rig.SetVoice(Oscillators::Sync, static_cast<float>(below(2)));
                rig.SetVoice(Oscillators::FMAmount, static_cast<float>(below(2)) * 0.3F);
                rig.SetVoice(Oscillators::Osc2Volume, -static_cast<float>(below(70)));
            }
            rig.RunBlock();
            ASSERT_TRUE(std::all_of(rig.block[0].begin(), rig.block[0].end(),
                                    [](float x) { return std::isfinite(x) && std::abs(x) < 40.0F; }));
        }
        rig.Set(Sustain, 0.0F);
        rig.SetChord(0, false);
        rig.SetChord(1, false);
        rig.RunBlock();
        for (u8 note = 0; note < 128; ++note) {
            // Once, however often the key went down.
            rig.NoteOff(note);
        }
        for (int i = 0; i < 300; ++i) {
            rig.RunBlock();
        }
        ASSERT_EQ(rig.ActiveCount(), 0U) << "round " << round;
        ASSERT_TRUE(rig.played->Modulations().VoiceOrder().empty());
        ASSERT_EQ(Peak(rig.block[0]), 0.0F);
    }
    EXPECT_EQ(allocations.Count(), 0U);
}

TEST(PlayedNotes, ResetIsTotal) {
    const auto play = [](PlayedRig& rig) {
        rig.Forget();
        rig.NoteOn(45, 90);
        rig.NoteOn(64, 30);
        rig.Run(60);
        return rig.left;
    };
    PlayedRig fresh;
    fresh.SetVoice(Oscillators::Osc1Waveform, VoiceOscillator::Saw);
    fresh.SetCarrier(Carrier::EnsembleAmount, 0.5F);
    PlayedRig used;
    used.SetVoice(Oscillators::Osc1Waveform, VoiceOscillator::Saw);
    used.SetCarrier(Carrier::EnsembleAmount, 0.5F);
    for (u8 note = 30; note < 80; ++note) {
        used.NoteOn(note);
    }
    used.Run(20);
    used.played->Reset(true);
    EXPECT_EQ(play(used), play(fresh));
}

TEST(PlayedNotes, VoicesStartAgainAfterAPresetWasLoaded) {
    PlayedRig rig;
    rig.SetCarrier(Carrier::PitchTrack, 1.0F);
    rig.SetCarrier(Carrier::GlideTime, 1.0F);
    rig.SetModulations(ModulationsManager::LFOInternalCycleMode, 0.0F); // one-shot
    rig.Route(LfoSource, Osc1ShapeDestination, 1.0F);
    rig.played->SetParameterValue(VocoderProcessor::FirstParameter<1>() +
                                      ModulationsManager::FirstParameter<2>() +
                                      Velmora::dsp::LFO::rateUnSynced,
                                  20.0F);
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
    rig.Forget();
    rig.RunSeconds(0.1);
    EXPECT_GT(Peak(rig.left), 0.3F);
    rig.NoteOn(60);
    float highest = 0.0F;
    for (int i = 0; i < 20; ++i) {
        rig.Run();
        highest = std::max(highest, rig.played->Modulations().Matrix().VoiceSource(0, LfoSource)[0]);
    }
    EXPECT_GT(highest, 0.9F); // the LFO of the voice runs again
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

TEST(PlayedNotes, EnsembleIsBypassedAtZeroUnlessRouted) {
    PlayedRig rig;
    rig.NoteOn(50);
    rig.RunSeconds(0.1);
    EXPECT_EQ(rig.left, rig.right);
    rig.Forget();
    rig.SetCarrier(Carrier::EnsembleAmount, 1.0F);
    rig.RunSeconds(0.2);
    EXPECT_NE(rig.left, rig.right);
    rig.Forget();
    rig.SetCarrier(Carrier::EnsembleAmount, 0.0F);
    rig.RunSeconds(0.1);
    EXPECT_EQ(rig.left, rig.right);
    rig.Route(VelocitySource, EnsembleDestination, 1.0F);
    rig.Forget();
    rig.RunSeconds(0.2);
    EXPECT_NE(rig.left, rig.right);
}

TEST(PlayedNotes, ModulationIsPerVoice) {
    PlayedRig rig;
    rig.Route(VelocitySource, Osc1CoarseDestination, 0.5F);
    rig.NoteOn(60, 127);
    rig.NoteOn(72, 64);
    rig.Run(3);
    const auto& matrix = rig.played->Modulations().Matrix();
    const float* first = matrix.RoutedVoiceDestination(0, Osc1CoarseDestination);
    const float* second = matrix.RoutedVoiceDestination(1, Osc1CoarseDestination);
    ASSERT_NE(first, nullptr);
    EXPECT_NEAR(first[0], 0.5F, 1e-5F);
    EXPECT_NEAR(second[0], 0.5F * 64.0F / 127.0F, 1e-5F);
    rig.NoteOff(60);
    rig.NoteOff(72);
    rig.RunSeconds(0.1);
    rig.Forget();
    rig.NoteOn(40, 32);
    rig.Run(4);
    rig.Forget();
    rig.RunSeconds(1.0);
    // Half of the range of 120 semitones per unit, not rounded to whole ones.
    const double shift = 60.0 * 32.0 / 127.0;
    EXPECT_NEAR(Cents(MeasurePitch(rig.left, NoteHz(40 + shift), rig.rate), NoteHz(40 + shift)), 0.0, 0.1);
}

TEST(PlayedNotes, MpeBendsOneNoteAndPressureOneVoice) {
    PlayedRig rig;
    rig.Set(MpeEnabled, 1.0F);
    rig.Set(MpePitchRange, 48.0F);
    rig.Route(AftertouchSource, Osc1ShapeDestination, 1.0F);
    rig.NoteOn(60, 100, 1);
    rig.NoteOn(67, 100, 2);
    rig.Run(3);
    rig.Set(MpePitchBend + 2, 0.25F);
    rig.Set(MpeAftertouch + 1, 0.5F);
    rig.RunSeconds(0.1);
    EXPECT_NEAR(Cents(rig.FrequencyOf(0), NoteHz(60)), 0.0, 0.01);
    EXPECT_NEAR(Cents(rig.FrequencyOf(1), NoteHz(79)), 0.0, 0.01);
    const auto& matrix = rig.played->Modulations().Matrix();
    EXPECT_NEAR(matrix.RoutedVoiceDestination(0, Osc1ShapeDestination)[0], 0.5F, 1e-4F);
    EXPECT_NEAR(matrix.RoutedVoiceDestination(1, Osc1ShapeDestination)[0], 0.0F, 1e-4F);
}

TEST(PlayedNotes, KeyPressureReachesItsNoteOnly) {
    PlayedRig rig;
    rig.Route(AftertouchSource, Osc1ShapeDestination, 1.0F);
    rig.NoteOn(60);
    rig.NoteOn(67);
    rig.Run(3);
    rig.events.AppendMidi(0xA0, 67, 127);
    rig.RunSeconds(0.1);
    const auto& matrix = rig.played->Modulations().Matrix();
    EXPECT_NEAR(matrix.RoutedVoiceDestination(0, Osc1ShapeDestination)[0], 0.0F, 1e-4F);
    EXPECT_NEAR(matrix.RoutedVoiceDestination(1, Osc1ShapeDestination)[0], 1.0F, 1e-4F);
}

TEST(PlayedNotes, BadHostValuesPassWithoutATrace) {
    PlayedRig rig;
    rig.SetVoice(Oscillators::Osc1Waveform, VoiceOscillator::Saw);
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float inf = std::numeric_limits<float>::infinity();
    rig.SetModulations(ModulationsManager::LFOInternalRateSyncedType, 1.0F);
    rig.Route(LfoSource, Osc1ShapeDestination, 0.5F);
    rig.NoteOn(60);
    rig.SetCarrier(Carrier::PitchTrack, 1.0F);
    for (const float bad : {nan, inf, -inf, 1e30F, 0.0F, -1.0F}) {
        rig.tempo = bad;
        rig.songPosition = bad;
        rig.external.assign(rig.blockSize, bad);
        rig.Set(PitchBend, bad);
        rig.Set(VocoderProcessor::PolyphonyMode, bad);
        rig.SetCarrier(Carrier::GlideTime, bad);
        rig.SetCarrier(Carrier::MasterTune, bad);
        rig.SetVoice(Oscillators::Osc2Fine, bad);
        rig.SetVoice(Oscillators::FMAmount, bad);
        rig.SetVoice(Oscillators::Osc1Shape, bad);
        rig.Set(VocoderProcessor::Attack, bad);
        rig.NoteOn(60);
        rig.Run(5);
    }
    rig.tempo = 120.0F;
    rig.songPosition = 0.0F;
    rig.external.assign(rig.blockSize, 0.0F);
    rig.Set(PitchBend, 0.0F);
    rig.Set(VocoderProcessor::PolyphonyMode, 12.0F);
    rig.SetCarrier(Carrier::GlideTime, 0.0F);
    rig.SetCarrier(Carrier::MasterTune, 440.0F);
    rig.SetVoice(Oscillators::Osc2Fine, 0.0F);
    rig.SetVoice(Oscillators::FMAmount, 0.0F);
    rig.SetVoice(Oscillators::Osc1Shape, 0.0F);
    rig.Set(VocoderProcessor::Attack, 0.002F);
    rig.RunSeconds(0.2);
    rig.Forget();
    rig.NoteOn(69);
    rig.RunSeconds(0.5);
    EXPECT_TRUE(std::all_of(rig.left.begin(), rig.left.end(), [](float x) { return std::isfinite(x); }));
    EXPECT_GT(Peak(rig.left), 0.1F);
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

} // namespace
} // namespace orphia::test
