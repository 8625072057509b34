// SPDX-License-Identifier: GPL-3.0-or-later
// Samples and keys. The external input and the tone stages: VocoderModulatorInputTest.cpp.
#include "vocoder/ModulatorRig.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace {

using namespace orphia::test;

constexpr u32 octave = 36;
constexpr u32 keyOutside = 72;

TEST(VocoderModulator, NamesFollowTheTreeAndOnlyTenKeysOfTheSamplerAreRenamed) {
    ModulatorRig rig;
    EXPECT_EQ(VocoderModulator::parameterCount, 372U);
    EXPECT_EQ(rig.Id("Sampler_Start"), 0U);
    EXPECT_EQ(rig.Id("Sampler_Slot1_Transpose"), 4U);
    EXPECT_EQ(rig.Id("Sampler_Sample1_TrimStart"), 40U);
    EXPECT_EQ(rig.Id("Sampler_Slot12_LoopOn"), 99U);
    EXPECT_EQ(rig.Id("Sampler_Sample12_TimeStretchSync"), 219U);
    EXPECT_EQ(rig.Id("ADSR_Attack"), 228U);
    EXPECT_EQ(rig.Id("VoiceKiller_State"), 242U);
    EXPECT_EQ(rig.Id("PitchTracker_AnalysisWindowSize"), 244U);
    EXPECT_EQ(rig.Id("ParamEq_Stereo"), 247U);
    EXPECT_EQ(rig.Id("Compressor_GRLimit"), 297U);
    EXPECT_EQ(rig.Id("VoiceInputGate_Threshold"), 298U);
    EXPECT_EQ(rig.Id("VuMeter_Output"), 302U);
    EXPECT_EQ(rig.Id("Sample1_Path"), 303U);
    EXPECT_EQ(rig.Id("Sample12_LoopOn"), 326U);
    EXPECT_EQ(rig.Id("Slot1_Sample"), 351U);
    EXPECT_EQ(rig.Id("CurrentSlot"), 364U);
    EXPECT_EQ(rig.Id("CompressorAmount"), 371U);
}

TEST(VocoderModulator, KeysOfTheOctaveSelectTheirSlotAndOthersRepeatIt) {
    ModulatorRig rig;
    rig.LoadLevels({2, 7});
    EXPECT_EQ(rig.PlayAndHear(keyOutside), 2) << "the first valid slot";
    rig.Release(keyOutside);
    EXPECT_EQ(rig.PlayAndHear(octave + 7), 7);
    EXPECT_EQ(rig.Get("CurrentSlot"), 7.0F);
    rig.Release(octave + 7);
    rig.Run(40);
    EXPECT_EQ(rig.SoundingSlot(), -1) << "released";
    EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F);
    EXPECT_EQ(rig.PlayAndHear(keyOutside), 7);
    rig.Release(keyOutside);
    rig.Run(40);
    EXPECT_EQ(rig.PlayAndHear(octave + 3), -1) << "an empty slot";
    rig.Release(octave + 3);
    rig.Set("KeyboardSampleOctave", 5.0F);
    EXPECT_EQ(rig.PlayAndHear(60 + 2), 2);
}

TEST(VocoderModulator, EachKeyMovesTheCycleOnAndAChordOrAHeldKeyWithLegatoDoesNot) {
    ModulatorRig rig;
    rig.LoadLevels({1, 4, 6});
    rig.Set("SamplerPlayMode", 1.0F);
    rig.Run(1);
    const auto tap = [&rig](u32 note) {
        const int heard = rig.PlayAndHear(note);
        rig.Release(note);
        rig.Run(40);
        return heard;
    };
    EXPECT_EQ(tap(60), 1);
    EXPECT_EQ(tap(octave), 4) << "in this mode the octave is as any other";
    rig.Press(60);
    rig.Press(64); // within 30 ms: the same chord
    rig.Run(20);
    EXPECT_EQ(rig.SoundingSlot(), 6);
    rig.Run(40);
    rig.Press(67); // later: a note of its own
    rig.Run(20);
    EXPECT_EQ(rig.SoundingSlot(), 1);
    rig.Set("Legato", 1.0F);
    rig.Run(40);
    rig.Press(69);
    rig.Run(20);
    EXPECT_EQ(rig.SoundingSlot(), 1) << "legato: other keys are held";
    for (const u32 note : {60U, 64U, 67U, 69U}) {
        rig.Release(note);
    }
    rig.Run(40);
    EXPECT_EQ(tap(60), 4);
    rig.Set("CycleLockedSample", 1.0F);
    rig.Run(1);
    EXPECT_EQ(tap(60), 1);
    EXPECT_EQ(tap(60), 1);
    rig.Set("CycleLockedSample", 12.0F);
    rig.Run(1);
    EXPECT_EQ(tap(60), 6) << "the lock has not moved the cycle";
    rig.Set("CycleReset", 1.0F);
    rig.Run(1);
    EXPECT_EQ(tap(60), 1);
    rig.Set("CycleNextSlotFromGUI", 6.0F);
    rig.Set("SlotGUITrigger", 1.0F);
    rig.Run(1);
    EXPECT_EQ(rig.Get("SlotGUITrigger"), 0.0F);
    EXPECT_EQ(tap(60), 6);
}

TEST(VocoderModulator, ANewKeyFadesTheOldSampleWithin6MsAndNeverClicks) {
    ModulatorRig rig;
    rig.LoadLevels({0, 11});
    rig.PlayAndHear(octave);
    rig.Press(octave + 11);
    const auto played = rig.Run(30);
    EXPECT_NEAR(Peak({played.begin(), played.begin() + 44}), 0.01F, 1e-3F);
    EXPECT_NEAR(Peak(played, played.size() - 44), 0.12F, 1e-3F);
    const auto silence = std::search_n(played.begin(), played.end(), 20, 1e-7F,
                                       [](float x, float limit) { return std::abs(x) < limit; });
    EXPECT_NEAR(static_cast<double>(silence - played.begin()), 0.006 * ModulatorRig::rate, 3.0);
    const double slope = 0.12 * 2.0 * std::numbers::pi / ModulatorRig::blockSize;
    for (std::size_t n = 1; n < played.size(); ++n) {
        // The attack of 2 ms adds its own.
        ASSERT_LT(std::abs(played[n] - played[n - 1]), slope + 0.12 / 80.0) << n;
    }
}

TEST(VocoderModulator, ALoopRunsWhileAKeyIsHeldAndOutToItsEndAfterwards) {
    ModulatorRig rig;
    rig.LoadLevels({0}, 0.05);
    rig.Set("Sample1_LoopOn", 1.0F);
    rig.Set("ADSR_Release", 20.0F); // so that the sample ends before the envelope
    rig.Run(1);
    for (int round = 0; round < 2; ++round) {
        rig.Press(octave);
        rig.Run(1000);
        EXPECT_EQ(rig.Get("IsPlayingSample"), 1.0F) << round;
        EXPECT_EQ(rig.SoundingSlot(), 0) << round;
        rig.Release(octave);
        rig.Run(60);
        EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F) << round;
        EXPECT_EQ(rig.Get("Sampler_PlayheadPosition"), 0.0F) << round;
    }
}

TEST(VocoderModulator, ATapShorterThanABlockOrAFadeIsHeardAndReleased) {
    ModulatorRig rig;
    rig.LoadLevels({0}, 0.04);
    rig.Set("Sample1_LoopOn", 1.0F);
    rig.Set("ADSR_Release", 20.0F); // the loop must end, not only the envelope
    rig.Run(1);
    for (const bool isRetrigger : {false, true}) {
        SCOPED_TRACE(isRetrigger);
        if (isRetrigger) {
            rig.PlayAndHear(octave);
        }
        rig.Press(octave);
        rig.Run(isRetrigger ? 2 : 0); // the fade takes six blocks
        rig.Release(octave);
        rig.Run(isRetrigger ? 7 : 1);
        EXPECT_GT(Peak(rig.Run(1)), 0.001F);
        rig.Run(60);
        EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F);
    }
}

TEST(VocoderModulator, AStretchedSampleEndsWithoutAClickThoughTheStretcherLags) {
    ModulatorRig rig;
    rig.LoadLevels({9}, 0.4);
    rig.Set("Sampler_Sample10_TimeStretchOn", 1.0F);
    for (const float factor : {0.5F, 2.0F, 4.0F}) {
        SCOPED_TRACE(factor);
        rig.Set("Sampler_Sample10_TimeStretchFactor", factor);
        rig.Press(octave + 9);
        const auto played = rig.Run(900);
        EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F);
        EXPECT_NEAR(Peak(played), 0.1F, 0.02F); // the stretcher overshoots where it begins
        float step = 0.0F;
        for (std::size_t n = 1; n < played.size(); ++n) {
            step = std::max(step, std::abs(played[n] - played[n - 1]));
        }
        EXPECT_LT(step, 1.2 * 0.1 * 2.0 * std::numbers::pi / ModulatorRig::blockSize);
        rig.Release(octave + 9);
        rig.Run(10);
    }
}

TEST(VocoderModulator, TheInterfacePlaysTheCurrentSlotOnceAndTheStopSwitchStopsIt) {
    ModulatorRig rig;
    rig.LoadLevels({3}, 0.2);
    rig.Set("Sample4_LoopOn", 1.0F);
    rig.Set("CurrentSlot", 3.0F);
    rig.Set("SelectedSlot", 3.0F);
    for (int round = 0; round < 2; ++round) {
        rig.Set("StopSampler", 0.0F);
        rig.Set("SlotGUITrigger", 1.0F);
        rig.Run(20);
        EXPECT_EQ(rig.Get("SelectedSlotIsCurrentSlot"), 1.0F);
        EXPECT_EQ(rig.SoundingSlot(), 3) << "a stopped sample can be started again";
        EXPECT_NEAR(rig.Get("Sampler_PlayheadPosition"), 0.1F, 0.01F);
        rig.Set("StopSampler", 1.0F);
        rig.Run(1);
        EXPECT_EQ(rig.SoundingSlot(), -1);
    }
    rig.Set("StopSampler", 0.0F);
    rig.Set("SlotGUITrigger", 1.0F);
    rig.Run(250);
    EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F) << "no key holds it: one pass, looped or not";
}

TEST(VocoderModulator, AWaitingSlotStartsAlsoWhenTheOldSampleEndsDuringItsFade) {
    ModulatorRig rig;
    rig.LoadLevels({0}, 0.05);
    rig.LoadLevels({5}, 1.0);
    rig.Press(octave);
    rig.Run(48); // 2 ms before its end
    ASSERT_EQ(rig.Get("IsPlayingSample"), 1.0F);
    rig.Press(octave + 5);
    rig.Run(20);
    EXPECT_EQ(rig.SoundingSlot(), 5);
}

TEST(VocoderModulator, LoadedFlagsFollowTheFilesAndAReplacedSampleStops) {
    ModulatorRig rig;
    rig.LoadLevels({2, 7});
    EXPECT_EQ(rig.Get("Sample3_Loaded"), 1.0F);
    EXPECT_EQ(rig.Get("Sample4_Loaded"), 0.0F);
    rig.PlayAndHear(octave + 2);
    rig.Load(7, rig.WriteLevel("other.wav", 0.3F));
    EXPECT_EQ(rig.SoundingSlot(), 2) << "another slot's file changes nothing";
    rig.Load(2, (rig.folder / "missing.wav").string());
    EXPECT_EQ(rig.Get("IsPlayingSample"), 1.0F) << "what cannot be loaded changes nothing";
    EXPECT_EQ(rig.Get("Sample3_Loaded"), 1.0F);
    rig.Load(2, "");
    EXPECT_EQ(rig.Get("Sample3_Loaded"), 0.0F);
    EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F);
    rig.Run(1);
    EXPECT_EQ(rig.SoundingSlot(), -1);
    rig.Release(octave + 2);
    EXPECT_EQ(rig.PlayAndHear(octave + 2), -1);
    rig.Release(octave + 2);
    rig.PlayAndHear(octave + 7);
    rig.Set("Slot8_Sample", 2.0F); // the slot that plays now names another sample
    rig.Run(1);
    EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F);
}

TEST(VocoderModulator, AFileThatGoesAsAKeyComesNeitherTakesTheKeysSampleAlongNorLeavesPlaybackEmpty) {
    ModulatorRig rig;
    rig.LoadLevels({0, 1}, 0.05);
    rig.PlayAndHear(octave);
    rig.Release(octave);
    rig.Run(40);
    rig.modulator->SetPath(0, "");
    rig.Run(1); // the next block takes it away
    EXPECT_EQ(rig.PlayAndHear(octave + 1), 1) << "slot 0 had ended";
    rig.Release(octave + 1);
    rig.Run(40);
    rig.modulator->SetPath(1, "");
    rig.Run(1);
    rig.Set("SlotGUITrigger", 1.0F); // no key that would end it
    rig.Run(2);
    EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F);
}

TEST(VocoderModulator, ChangingTheModeStopsAndRestartsTheCycle) {
    ModulatorRig rig;
    rig.LoadLevels({1, 4});
    rig.PlayAndHear(octave + 1);
    rig.Set("CycleNextPlayingSlot", 9.0F);
    rig.Set("SamplerPlayMode", 1.0F);
    rig.Run(1);
    EXPECT_EQ(rig.Get("IsPlayingSample"), 0.0F);
    EXPECT_EQ(rig.Get("CycleNextPlayingSlot"), 1.0F);
    EXPECT_EQ(rig.SoundingSlot(), -1);
}

/// Whatever a host writes and plays: no crash, no allocation, and afterwards it works as new.
TEST(VocoderModulator, SurvivesWildParametersNotesAndSound) {
    ModulatorRig rig;
    rig.LoadLevels({0, 5, 11}, 0.1);
    std::mt19937 random(3);
    const auto below = [&random](std::size_t count) { return static_cast<u32>(random() % count); };
    const std::vector<float> wild = {0.0F,   1.0F,          0.5F,   -1.0F, 2.0F,   1e30F,
                                     -1e30F, std::nanf(""), 1e-30F, 12.0F, 127.0F, INFINITY};
    const u32 windowSize = rig.Id("PitchTracker_AnalysisWindowSize"); // its change may allocate
    rig.Set("ExternalInputGain", 0.0F);
    std::vector<float> sane;
    for (u32 id = 0; id < VocoderModulator::parameterCount; ++id) {
        sane.push_back(rig.modulator->FindParameter(id)->GetValue());
    }
    for (int round = 0; round < 4000; ++round) {
        const u32 id = below(VocoderModulator::parameterCount);
        if (id != windowSize) {
            const float value = wild[below(wild.size())];
            if (below(2) == 0) {
                rig.modulator->SetParameterNormalized(id, value);
            } else {
                rig.modulator->SetParameterValue(id, value);
            }
        }
        rig.inputs = below(3);
        rig.in[below(2)][below(ModulatorRig::blockSize)] = wild[below(wild.size())];
        const u32 note = below(130);
        if (below(2) == 0) {
            rig.held[note % 128] = 1;
            rig.modulator->NoteOn(note);
        } else {
            rig.held[note % 128] = 0;
            rig.modulator->NoteOff(note);
        }
        if (below(50) == 0) {
            rig.modulator->Reset(below(2) == 0);
        }
        rig.RunBlock();
    }
    for (auto& channel : rig.in) {
        std::fill(channel.begin(), channel.end(), 0.1F);
    }
    for (const float value : {std::nanf(""), INFINITY}) { // last of all, so that chance cannot undo it
        rig.inputs = 2;
        rig.Set("ExternalInput", 1.0F);
        for (const char* name : {"ExternalInputGain", "ParamEQOn", "CompressorOn"}) {
            rig.Set(name, value);
        }
        rig.Run(2);
        EXPECT_FALSE(std::isnan(rig.out[0][0])) << value;
    }
    for (u32 id = 0; id < sane.size(); ++id) {
        rig.modulator->SetParameterValue(id, sane[id]);
    }
    for (u32 note = 0; note < 128; ++note) {
        rig.Release(note);
    }
    rig.Run(100);
    EXPECT_EQ(rig.PlayAndHear(octave + 5), 5);
    rig.Set("ExternalInput", 1.0F);
    rig.Run(400);
    EXPECT_NEAR(rig.out[0][0], 0.1F, 1e-4F);
}

} // namespace
