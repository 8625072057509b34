// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/PatchBay.h"

#include "dsp/framework/RunChild.h"
#include "reference/PatchBayModel.h"
#include "rigs/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

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
    }

    /// Every sample of signal s becomes scale * (s + 1).
    void RunBlock(float scale = 1.0F) {
        for (u32 signal = 0; signal < 32; ++signal) {
            std::fill_n(bay.SourcePointers()[signal], maxBlock, scale * static_cast<float>(signal + 1));
        }
        dsp::ProcessContext context;
        context.numFrames = maxBlock;
        EXPECT_TRUE(dsp::RunChild(bay, context));
    }

    float Output(u32 signal, u32 frame = maxBlock - 1) { return bay.OutputPointers()[signal][frame]; }
    void ExpectBypassed() {
        EXPECT_TRUE(std::equal(bay.OutputPointers(), bay.OutputPointers() + 32, bay.SourcePointers()));
    }
    void ExpectSilence() {
        for (u32 signal = 0; signal < 32; ++signal) {
            const float* output = bay.OutputPointers()[signal];
            EXPECT_EQ(std::count(output, output + maxBlock, 0.0F), maxBlock) << "signal " << signal;
        }
    }

    PatchBay bay;
};

TEST_F(PatchBayTest, AResetSilencesTheOutputsAndGoesOnHolding) {
    RunBlock();
    bay.Reset(false);
    ExpectSilence();
    RunBlock();
    bay.SetParameterValue(272, 1.0F);
    RunBlock();
    EXPECT_EQ(Output(4), 5.0F);
    bay.Reset(false);
    RunBlock();
    ExpectSilence();
    bay.SetParameterValue(272, 0.0F);
    RunBlock();
    ExpectBypassed();
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
        settings.amount[synthesis][analysis] = static_cast<double>(amount);
        const float gain = below(2) != 0 ? 1.0F : uniform(random) + 1.0F;
        settings.gainBand[analysis] = static_cast<double>(gain);
        bay.SetParameterValue(256 + analysis, gain);
        settings.activated = below(4) != 0;
        bay.SetParameterValue(273, settings.activated ? 1.0F : 0.0F);
        // The hold is the sum of its knob and its modulation, at its middle and above.
        const float hold = below(4) == 0 ? 1.0F : 0.0F;
        // In front of a modulation stands whether it is in use.
        const float offsets[] = {-0.5F, 0.49F, 0.5F};
        const float modulation[] = {static_cast<float>(below(2)), offsets[below(3)]};
        const float* const connected = &modulation[1];
        settings.sampleHold = hold + modulation[0] * modulation[1] >= 0.5F;
        bay.SetParameterValue(272, hold);
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
        context.inputs = &connected;
        context.numInputs = 1;
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
