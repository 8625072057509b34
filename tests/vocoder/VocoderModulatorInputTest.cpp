// SPDX-License-Identifier: GPL-3.0-or-later
// The external input, the equaliser and the compressor of the modulator.
#include "vocoder/ModulatorRig.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using namespace orphia::test;

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

TEST(VocoderModulatorInput, DetectionIsLatchedForGood) {
    InputRig rig(2);
    rig.Run(10);
    EXPECT_EQ(rig.Get("ExternalSignalHasBeenDetectedAtLeastOnce"), 0.0F);
    rig.in[0][7] = 1e-20F;
    rig.Run(1);
    rig.in[0][7] = 0.0F;
    rig.modulator->Reset(true);
    rig.Run(1);
    EXPECT_EQ(rig.Get("ExternalSignalHasBeenDetectedAtLeastOnce"), 1.0F);
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

TEST(VocoderModulatorInput, TheCompressorTakesTheWetEqualiserEvenWhileThatFades) {
    InputRig rig(2);
    rig.Set("ParamEq_Gain3", 12.0F);
    rig.Set("ParamEq_Cutoff3", 441.0F);
    rig.Set("Compressor_Ratio", 1.0F); // passes everything
    rig.Set("Compressor_Makeup", 0.0F);
    rig.Set("CompressorOn", 1.0F);
    rig.Hear(300, 441.0, 0.1F);
    rig.Set("ParamEQOn", 1.0F);
    const auto heard = rig.Hear(30, 441.0, 0.1F);
    // 30 ms of a fade of 50 ms: the equaliser's own rise of a few ms is all that delays the 12 dB.
    EXPECT_NEAR(Peak(heard, 20 * 44), 0.398F, 0.01F);
}

TEST(VocoderModulatorInput, OneKnobTurnsTheWholeCompressor) {
    InputRig rig(2);
    const auto set = [&rig](float amount) {
        rig.modulator->SetParameterNormalized(rig.Id("CompressorAmount"), amount);
        rig.Run(1);
        return rig.Get("Compressor_OutputGain");
    };
    EXPECT_EQ(set(0.0F), 0.0F);
    EXPECT_EQ(set(0.25F), -3.0F);
    EXPECT_EQ(set(0.5F), -6.0F);
    EXPECT_EQ(set(0.75F), -2.5F);
    EXPECT_EQ(set(1.0F), 1.0F);
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

TEST(VocoderModulatorInput, TheMeterReadsBeforeTheToneStages) {
    InputRig rig(2);
    rig.Set("ParamEQOn", 1.0F);
    rig.Set("ParamEq_Gain3", 12.0F);
    rig.Set("ParamEq_Cutoff3", 441.0F);
    rig.Hear(1000, 441.0, 0.1F); // -20 dB, which is -2 dB below a calibration of -18
    EXPECT_NEAR(rig.Get("VuMeter_Output"), -2.0F, 0.15F);
}

} // namespace
