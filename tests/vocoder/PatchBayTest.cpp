// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/PatchBay.h"

#include "dsp/RunChild.h"
#include "reference/AllocationCounter.h"
#include "reference/PatchBayModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <random>
#include <string>

namespace Velmora::Processor {
namespace {

constexpr u32 maxBlock = 44;

/// The id of a route, bands counted from 1.
constexpr u32 RouteId(u32 analysis, u32 synthesis) { return 16 * (synthesis - 1) + (analysis - 1); }

struct PatchBayTest : testing::Test {
    PatchBayTest() {
        bay.Initialize(44100.0F, maxBlock);
        for (u32 band = 0; band < 16; ++band) {
            bay.SetParameterValue(256 + band, 1.0F);
        }
        SetSources(1.0F);
    }

    /// Every sample of lane l, band b (from 0) becomes scale * (100 l + b + 1).
    void SetSources(float scale) {
        for (u32 signal = 0; signal < 32; ++signal) {
            std::fill_n(bay.SourcePointers()[signal], maxBlock, scale * Level(signal));
        }
    }
    static float Level(u32 signal) {
        const u32 level = 100 * (signal / 16) + signal % 16 + 1;
        return static_cast<float>(level);
    }

    /// Runs a block on sources of the given scale. A modulation of "SampleHold" of 0 is not connected.
    void RunBlock(float scale = 1.0F, u32 frames = maxBlock, float holdModulation = 0.0F) {
        SetSources(scale);
        std::array<float, 8> modulation{};
        modulation[3] = 1.0F;
        modulation[4] = holdModulation;
        const float* const inputs[] = {holdModulation != 0.0F ? &modulation[4] : nullptr};
        dsp::ProcessContext context;
        context.numFrames = frames;
        context.inputs = inputs;
        context.numInputs = 1;
        EXPECT_TRUE(dsp::RunChild(bay, context));
    }

    float Output(u32 lane, u32 band, u32 frame = maxBlock - 1) {
        return bay.OutputPointers()[lane * 16 + band - 1][frame];
    }
    void ExpectBypassed() {
        EXPECT_TRUE(std::equal(bay.OutputPointers(), bay.OutputPointers() + 32, bay.SourcePointers()));
    }
    void ExpectAllOutputs(float expected) {
        for (u32 signal = 0; signal < 32; ++signal) {
            const float* output = bay.OutputPointers()[signal];
            EXPECT_EQ(std::count(output, output + maxBlock, expected), maxBlock) << "signal " << signal;
        }
    }

    PatchBay bay;
};

TEST_F(PatchBayTest, DeclaresItsParametersInOrder) {
    const auto name = [this](u32 id) {
        char text[256];
        dsp::ParameterNameWriter writer(text, sizeof text);
        bay.GetParameterName(id, writer);
        return std::string(text);
    };
    EXPECT_EQ(name(0), "PatchBay_Analysis1_Synthesis1");
    EXPECT_EQ(name(1), "PatchBay_Analysis2_Synthesis1");
    EXPECT_EQ(name(RouteId(3, 7)), "PatchBay_Analysis3_Synthesis7");
    EXPECT_EQ(name(255), "PatchBay_Analysis16_Synthesis16");
    EXPECT_EQ(name(256), "PatchBay_GainBand1");
    EXPECT_EQ(name(271), "PatchBay_GainBand16");
    EXPECT_EQ(name(272), "PatchBay_SampleHold");
    EXPECT_EQ(name(273), "PatchBay_Activated");
    EXPECT_EQ(bay.FindParameter(274), nullptr);
    PatchBay fresh;
    EXPECT_EQ(fresh.GetParameterNormalized(RouteId(3, 7)), 0.5F);
    EXPECT_EQ(fresh.FindParameter(256)->GetValue(), 0.0F);
}

TEST_F(PatchBayTest, AnUntouchedBayIsSilentBecauseItsGainsStartAtTheMinimum) {
    PatchBay fresh;
    fresh.Initialize(44100.0F, maxBlock);
    for (u32 signal = 0; signal < 32; ++signal) {
        EXPECT_EQ(fresh.OutputPointers()[signal][maxBlock - 1], 0.0F) << "before the first block";
        std::fill_n(fresh.SourcePointers()[signal], maxBlock, 1.0F);
    }
    dsp::ProcessContext context;
    context.numFrames = maxBlock;
    dsp::RunChild(fresh, context);
    for (u32 signal = 0; signal < 32; ++signal) {
        EXPECT_EQ(fresh.OutputPointers()[signal][maxBlock - 1], 0.0F) << signal;
    }
}

TEST_F(PatchBayTest, WithoutRoutesOrSwitchThePanelIsBypassedByPointer) {
    bay.SetParameterValue(273, 1.0F);
    RunBlock();
    ExpectBypassed();
    bay.SetParameterValue(273, 0.0F);
    bay.SetParameterValue(RouteId(3, 7), 1.0F);
    RunBlock();
    ExpectBypassed();
    EXPECT_EQ(Output(0, 3), 3.0F);
    EXPECT_EQ(Output(1, 3), 103.0F);
}

TEST_F(PatchBayTest, ARouteCarriesBothLanesAndSilencesBandsWithoutOne) {
    bay.SetParameterValue(273, 1.0F);
    bay.SetParameterValue(RouteId(3, 7), 0.5F);
    bay.SetParameterValue(RouteId(16, 7), 0.25F);
    RunBlock();
    EXPECT_EQ(Output(0, 7), 0.5F * 3.0F + 0.25F * 16.0F);
    EXPECT_EQ(Output(1, 7), 0.5F * 103.0F + 0.25F * 116.0F);
    EXPECT_EQ(Output(0, 3), 0.0F);
    EXPECT_EQ(Output(1, 3), 0.0F);
    EXPECT_EQ(Output(0, 7, 0), Output(0, 7));

    EXPECT_TRUE(bay.SetParameterNormalized(RouteId(3, 7), 0.5F));
    RunBlock();
    EXPECT_EQ(Output(0, 7), 4.0F) << "the middle of the knob switches the route off";
    EXPECT_TRUE(bay.SetParameterNormalized(RouteId(16, 7), 0.25F));
    RunBlock();
    ExpectBypassed();
    EXPECT_EQ(bay.FindParameter(RouteId(16, 7))->GetValue(), -0.5F) << "a negative amount is kept";
    EXPECT_TRUE(bay.SetParameterNormalized(RouteId(16, 7), 1.0F));
    RunBlock();
    EXPECT_EQ(Output(1, 7), 116.0F);
}

TEST_F(PatchBayTest, TheResultOfAWriteTellsWhetherSomethingIsPatchedOrHeld) {
    EXPECT_TRUE(bay.SetParameterNormalized(0, 0.0F));
    EXPECT_TRUE(bay.SetParameterValue(255, -1.0F));
    EXPECT_FALSE(bay.SetParameterNormalized(256, 1.0F));
    EXPECT_FALSE(bay.SetParameterNormalized(273, 1.0F));
    EXPECT_FALSE(bay.SetParameterNormalized(272, 0.5F));
    EXPECT_TRUE(bay.SetParameterNormalized(272, 0.75F));
    EXPECT_TRUE(bay.SetParameterValue(272, 0.0F));
    EXPECT_EQ(bay.GetParameterNormalized(273), 1.0F) << "a false result still stores the value";
}

TEST_F(PatchBayTest, AGainScalesItsBandOnBothLanesBeforeTheRoutes) {
    bay.SetParameterValue(256 + 2, 0.0F);
    RunBlock();
    EXPECT_EQ(Output(0, 3), 0.0F);
    EXPECT_EQ(Output(1, 3), 0.0F);
    EXPECT_EQ(Output(1, 4), 104.0F);
    bay.SetParameterValue(256 + 2, 0.5F);
    bay.SetParameterValue(273, 1.0F);
    bay.SetParameterValue(RouteId(3, 1), 1.0F);
    RunBlock();
    EXPECT_EQ(Output(1, 1), 51.5F);
    RunBlock(1.0F, 40);
    EXPECT_EQ(bay.SourcePointers()[2][39], 1.5F);
    EXPECT_EQ(bay.SourcePointers()[2][40], 3.0F) << "a short block scales its own frames only";
}

TEST_F(PatchBayTest, AHoldFreezesAllSignalsUntilItIsReleased) {
    bay.SetParameterValue(273, 1.0F);
    bay.SetParameterValue(RouteId(3, 7), 1.0F);
    RunBlock(2.0F);
    bay.SetParameterValue(272, 1.0F);
    RunBlock(5.0F);
    const auto expectHeld = [this] {
        for (u32 frame = 0; frame < maxBlock; ++frame) {
            ASSERT_EQ(Output(0, 7, frame), 6.0F) << frame;
            ASSERT_EQ(Output(1, 7, frame), 206.0F) << frame;
            ASSERT_EQ(Output(0, 3, frame), 0.0F) << frame;
        }
    };
    expectHeld();
    bay.SetParameterValue(256 + 2, 0.25F);
    bay.SetParameterValue(RouteId(4, 3), 1.0F);
    RunBlock(9.0F);
    expectHeld();
    EXPECT_EQ(bay.SourcePointers()[2][0], 27.0F) << "nothing is scaled during a hold";
    bay.SetParameterValue(272, 0.0F);
    RunBlock(1.0F);
    EXPECT_EQ(Output(0, 7), 0.75F);
    EXPECT_EQ(Output(0, 3), 4.0F);
}

TEST_F(PatchBayTest, AHoldTakesTheLastSampleOfAFullBlockAlsoInAShortOne) {
    RunBlock();
    bay.SetParameterValue(272, 1.0F);
    dsp::ProcessContext context;
    context.numFrames = 20;
    bay.SourcePointers()[0][19] = -7.0F;
    bay.SourcePointers()[0][maxBlock - 1] = 7.0F;
    dsp::RunChild(bay, context);
    EXPECT_EQ(Output(0, 1, 0), 7.0F);
}

TEST_F(PatchBayTest, SampleHoldFollowsItsModulationInput) {
    RunBlock(1.0F, maxBlock, 0.49F);
    ExpectBypassed();
    RunBlock(2.0F, maxBlock, 0.5F);
    RunBlock(3.0F, maxBlock, 1.0F);
    EXPECT_EQ(Output(0, 5), 10.0F);
    RunBlock(4.0F, maxBlock, -1.0F);
    ExpectBypassed();
}

TEST_F(PatchBayTest, AResetSilencesTheOutputsAndGoesOnHolding) {
    RunBlock();
    bay.Reset(false);
    ExpectAllOutputs(0.0F);
    RunBlock();
    bay.SetParameterValue(272, 1.0F);
    RunBlock();
    EXPECT_EQ(Output(0, 5), 5.0F);
    bay.Reset(false);
    RunBlock();
    ExpectAllOutputs(0.0F);
    bay.SetParameterValue(272, 0.0F);
    RunBlock();
    ExpectBypassed();
}

TEST_F(PatchBayTest, AHoldNeverKeepsABrokenValue) {
    RunBlock();
    bay.SetParameterValue(272, 1.0F);
    RunBlock(std::numeric_limits<float>::quiet_NaN());
    ExpectAllOutputs(0.0F);
    bay.SetParameterValue(272, 0.0F);
    bay.SetParameterValue(273, 1.0F);
    bay.SetParameterValue(RouteId(3, 7), 1.0F);
    RunBlock(std::numeric_limits<float>::infinity());
    RunBlock();
    EXPECT_EQ(Output(0, 7), 3.0F) << "sound is back one block later";
}

TEST_F(PatchBayTest, AgreesWithTheReferenceOverRandomOperations) {
    std::mt19937 random(99);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    const auto below = [&random](u32 n) { return static_cast<u32>(random() % n); };
    orphia_reference::PatchBayModel model(maxBlock);
    orphia_reference::PatchSettings settings;
    bay.Reset(true);
    for (u32 signal = 0; signal < 32; ++signal) {
        std::fill_n(bay.SourcePointers()[signal], maxBlock, 0.0F);
    }
    for (int block = 0; block < 3000; ++block) {
        const u32 analysis = below(16);
        const u32 synthesis = below(16);
        const float amount = below(2) != 0 ? uniform(random) : -0.5F;
        bay.SetParameterValue(RouteId(analysis + 1, synthesis + 1), amount);
        settings.Connect(static_cast<int>(analysis), static_cast<int>(synthesis),
                         static_cast<double>(amount));
        const float gain = below(2) != 0 ? 1.0F : uniform(random) + 1.0F;
        settings.gainBand[analysis] = static_cast<double>(gain);
        bay.SetParameterValue(256 + analysis, gain);
        settings.activated = below(4) != 0;
        bay.SetParameterValue(273, settings.activated ? 1.0F : 0.0F);
        settings.sampleHold = below(4) == 0;
        bay.SetParameterValue(272, settings.sampleHold ? 1.0F : 0.0F);
        const u32 frames = below(3) != 0 ? maxBlock : 4 * below(12);
        for (u32 signal = 0; signal < 32; ++signal) {
            for (u32 n = 0; n < frames; ++n) {
                const float x = uniform(random);
                bay.SourcePointers()[signal][n] = x;
                model.Source(signal / 16, signal % 16)[n] = static_cast<double>(x);
            }
        }
        dsp::ProcessContext context;
        context.numFrames = frames;
        const orphia_reference::AllocationCounter allocations;
        dsp::RunChild(bay, context);
        ASSERT_EQ(allocations.Count(), 0U);
        model.Process(settings, frames);
        for (u32 signal = 0; signal < 32; ++signal) {
            for (u32 n = 0; n < maxBlock; ++n) {
                ASSERT_NEAR(static_cast<double>(bay.OutputPointers()[signal][n]),
                            model.Output(signal / 16, signal % 16)[n], 1e-5)
                    << "block " << block << ", signal " << signal << ", frame " << n;
            }
        }
    }
}

} // namespace
} // namespace Velmora::Processor
