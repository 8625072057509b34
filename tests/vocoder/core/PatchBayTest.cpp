// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/PatchBay.h"

#include "dsp/framework/RunChild.h"
#include "reference/PatchBayModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace Velmora::Processor {
namespace {

constexpr u32 maxBlock = 44;

TEST(PatchBay, AgreesWithTheReferenceOverRandomOperations) {
    PatchBay bay;
    bay.Initialize(44100.0F, maxBlock);
    std::mt19937 random(99);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    const auto below = [&random](u32 n) { return static_cast<u32>(random() % n); };
    orphia_reference::PatchBayModel model(maxBlock);
    orphia_reference::PatchSettings settings;
    for (int block = 0; block < 3000; ++block) {
        // A reset silences the outputs and goes on holding.
        if (below(40) == 0) {
            bay.Reset(false);
            model.Reset();
        }
        const u32 analysis = below(16);
        const u32 synthesis = below(16);
        const float amount = below(2) != 0 ? uniform(random) : -0.5F;
        bay.SetParameterValue(PatchBay::RouteId(analysis + 1, synthesis + 1), amount);
        settings.amount[synthesis][analysis] = static_cast<double>(amount);
        const float gain = below(2) != 0 ? 1.0F : 0.5F * uniform(random) + 0.5F;
        settings.gainBand[analysis] = static_cast<double>(gain);
        bay.SetParameterValue(PatchBay::FirstGainBand + analysis, gain);
        settings.activated = below(4) != 0;
        bay.SetParameterValue(PatchBay::Activated, settings.activated ? 1.0F : 0.0F);
        // The hold is the sum of its knob and its modulation, at its middle and above.
        const float hold = below(4) == 0 ? 1.0F : 0.0F;
        // In front of a modulation stands whether it is in use.
        const float offsets[] = {-0.5F, 0.49F, 0.5F};
        const float modulation[] = {static_cast<float>(below(2)), offsets[below(3)]};
        const float* const connected = &modulation[1];
        settings.sampleHold = hold + modulation[0] * modulation[1] >= 0.5F;
        bay.SetParameterValue(PatchBay::SampleHold, hold);
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
        dsp::RunChild(bay, context);
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
