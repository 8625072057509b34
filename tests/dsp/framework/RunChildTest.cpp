// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/RunChild.h"

#include "rigs/ProbeModule.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::dsp {
namespace {

using Calls = std::vector<std::string>;

/// A module of two channels at four frames of silence, with outputs of -1.
struct Bench {
    Bench() { probe.Initialize(48000.0F, 4); }
    bool Run(u32 inputCount, u32 outputCount) {
        calls.clear();
        ProcessContext context;
        context = context.ForChild(inputs, inputCount, outputs, outputCount);
        context.numFrames = 4;
        return RunChild(probe, context);
    }
    bool IsCleared() const { return !probe.needsUpdate && !probe.anyParameterChanged; }

    Calls calls;
    Test::ProbeModule<1, 2> probe{"Probe", &calls};
    float silence[4] = {};
    float left[4] = {-1.0F, -1.0F, -1.0F, -1.0F};
    float right[4] = {-1.0F, -1.0F, -1.0F, -1.0F};
    const float* inputs[3] = {silence, silence, silence};
    float* outputs[3] = {left, right, left};
};

TEST(RunChildTest, TicksRendersAndClearsInThisOrderAndFewerChannelsFit) {
    Bench bench;
    EXPECT_TRUE(bench.Run(1, 1));
    EXPECT_EQ(bench.calls, (Calls{"Probe UpdateParameters", "Probe Process", "Probe ClearParameterChanges"}));
    EXPECT_EQ(bench.left[3], 0.0F);
    EXPECT_EQ(bench.right[3], -1.0F);
    EXPECT_TRUE(bench.IsCleared());
}

TEST(RunChildTest, AChildThatDeclinesOrHasTooManyChannelsIsSkippedAndOneThatFailsIsStillCleared) {
    Bench bench;
    const auto expectSkipped = [&bench](u32 inputCount, u32 outputCount, const char* why) {
        EXPECT_FALSE(bench.Run(inputCount, outputCount)) << why;
        EXPECT_EQ(bench.calls, Calls{"Probe UpdateParameters"}) << why;
        EXPECT_TRUE(bench.probe.needsUpdate && bench.probe.anyParameterChanged) << why;
    };
    expectSkipped(3, 2, "an input too many");
    expectSkipped(2, 3, "an output too many");
    bench.probe.agrees = false;
    expectSkipped(2, 2, "the tick declined");
    bench.probe.agrees = true;
    bench.probe.succeeds = false;
    EXPECT_FALSE(bench.Run(2, 2));
    EXPECT_TRUE(bench.IsCleared());
}

} // namespace
} // namespace Velmora::dsp
