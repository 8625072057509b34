// SPDX-License-Identifier: GPL-3.0-or-later
// Samples and keys, then the external input and the tone stages.
#include "vocoder/modulator/ModulatorRig.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using namespace orphia::test;

constexpr u32 octave = 36;
constexpr u32 keyOutside = 72;

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

constexpr float rate = ModulatorRig::rate;

/// A rig that hears a sine, other blocks of which are right on the second channel.
struct InputRig : ModulatorRig {
    double phase = 0.0;

    explicit InputRig(u32 channels) {
        inputs = channels;
        Set("ExternalInput", 1.0F);
        Set("ExternalInputGain", 0.0F);
        Set("VoiceInputGate_Threshold", -40.0F);
        Set("ParamEq_Scale", 1.0F);
        for (int band = 1; band <= 5; ++band) {
            Set("ParamEq_Gain" + std::to_string(band), 0.0F);
            Set("ParamEq_Q" + std::to_string(band), 0.7F);
        }
    }
    /// The left output while a sine comes in, at `right` times its level on the other side.
    std::vector<float> Hear(u32 blocks, double hertz, float level, float right = 1.0F) {
        std::vector<float> left;
        for (u32 block = 0; block < blocks; ++block) {
            for (u32 n = 0; n < blockSize; ++n) {
                in[0][n] = level * static_cast<float>(std::sin(phase));
                in[1][n] = right * in[0][n];
                phase += 2.0 * std::numbers::pi * hertz / rate;
            }
            const auto more = Run(1);
            left.insert(left.end(), more.begin(), more.end());
        }
        return left;
    }
};

TEST(VocoderModulatorInput, PassesTheInputThroughGainAndGateAndTracksThePitchBehindAClosedGate) {
    InputRig rig(2);
    rig.Hear(200, 220.5, 0.1F);
    rig.Set("ExternalInputGain", 6.0F);
    const auto heard = rig.Hear(400, 220.5, 0.1F, 0.5F);
    EXPECT_NEAR(Peak(heard, 8800), 0.19953F, 2e-4F);
    EXPECT_NEAR(Peak(rig.out[1]), 0.5F * Peak(rig.out[0]), 1e-5F) << "the right side is its own";
    EXPECT_NEAR(rig.out[2].back(), 220.5F, 0.2F);
    rig.Set("VoiceInputGate_Threshold", 0.0F);
    rig.Hear(200, 220.5, 0.1F);
    EXPECT_EQ(Peak(rig.out[0]) + Peak(rig.out[1]), 0.0F) << "closed";
    EXPECT_NEAR(rig.out[2].back(), 220.5F, 0.2F);
    EXPECT_NEAR(rig.Get("PitchTracker_DetectedPitch"), 220.5F, 0.2F);
}

TEST(VocoderModulatorInput, AMonoInputSoundsOnBothSidesAndNoInputLeavesTheSampler) {
    InputRig mono(1);
    mono.Hear(200, 441.0, 0.3F);
    EXPECT_NEAR(Peak(mono.out[1]), 0.3F, 1e-3F);
    EXPECT_EQ(mono.out[0], mono.out[1]);
    EXPECT_NEAR(mono.out[2].back(), 441.0F, 0.5F);
    InputRig none(0);
    none.LoadLevels({4});
    EXPECT_EQ(none.PlayAndHear(36 + 4), 4);
    EXPECT_EQ(none.out[2].back(), 0.0F) << "no pitch from the sampler";
}

TEST(VocoderModulatorInput, EqualiserAndCompressorFadeInAndOutWithin50MsAndWithoutAClick) {
    for (const char* stage : {"ParamEQOn", "CompressorOn"}) {
        SCOPED_TRACE(stage);
        InputRig rig(2);
        rig.Set("ParamEq_Gain3", 12.0F);
        rig.Set("ParamEq_Cutoff3", 441.0F);
        rig.Set("Compressor_ConfStereo", 1.0F);
        rig.Set("CompressorAmount", 1.0F);
        rig.Hear(200, 441.0, 0.2F);
        const auto before = rig.Hear(50, 441.0, 0.2F);
        rig.Set(stage, 1.0F);
        const auto fade = rig.Hear(50, 441.0, 0.2F);
        const auto on = rig.Hear(250, 441.0, 0.2F);
        rig.Set(stage, 0.0F);
        const auto back = rig.Hear(51, 441.0, 0.2F);
        const auto after = rig.Hear(50, 441.0, 0.2F);
        EXPECT_NEAR(Peak(before), 0.2F, 1e-4F);
        EXPECT_NEAR(Peak(after), Peak(before), 1e-5F) << "off, and settled";
        const float loudest = std::max(Peak(on, 8800), 0.2F);
        EXPECT_GT(std::abs(20.0F * std::log10(Peak(on, 8800) / 0.2F)), 1.0F) << "it does something";
        const float slope = 2.0F * std::numbers::pi_v<float> * 441.0F / rate * loudest;
        for (const auto* part : {&fade, &back}) {
            for (std::size_t n = 1; n < part->size(); ++n) {
                ASSERT_LT(std::abs((*part)[n] - (*part)[n - 1]), 1.1F * slope + 0.002F) << n;
            }
        }
    }
}

TEST(VocoderModulatorInput, OneKnobTurnsTheWholeCompressor) {
    InputRig rig(2);
    const auto set = [&rig](float amount) {
        rig.modulator->SetParameterNormalized(rig.Id("CompressorAmount"), amount);
        rig.Run(1);
        return rig.Get("Compressor_OutputGain");
    };
    // Turned up, it reduces more: the threshold falls though its knob rises.
    rig.Set("CompressorOn", 1.0F);
    rig.Set("Compressor_Makeup", 0.0F);
    float before = 2.0F;
    for (const float amount : {0.0F, 0.3F, 0.6F, 0.9F}) {
        const float outputGain = std::pow(10.0F, set(amount) * 0.05F);
        const float level = Peak(rig.Hear(1500, 441.0, 0.5F), 1000 * 44) / outputGain;
        EXPECT_LT(level, before * 0.9F) << amount;
        before = level;
    }
}

} // namespace
