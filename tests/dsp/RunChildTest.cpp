// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/RunChild.h"

#include "support/ProbeModule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace Velmora::dsp {
namespace {

using Probe = Test::ProbeModule<1, 2>;
using Calls = std::vector<std::string>;

struct Bench {
    Bench() {
        probe.Initialize(48000.0F, 4);
        calls.clear();
        context = context.ForChild(inputs, 2, outputs, 2);
        context.numFrames = 4;
    }
    bool Run() {
        std::fill_n(left, 4, -1.0F);
        std::fill_n(right, 4, -1.0F);
        return RunChild(probe, context);
    }
    void ExpectSkipped(const char* why) {
        EXPECT_FALSE(Run()) << why;
        EXPECT_EQ(calls, Calls{"Probe UpdateParameters"}) << why;
        EXPECT_EQ(left[0], -1.0F) << why;
        EXPECT_TRUE(probe.needsUpdate) << why;
        EXPECT_TRUE(probe.anyParameterChanged) << why;
        calls.clear();
    }

    Calls calls;
    Probe probe{"Probe", &calls};
    float first[4] = {1, 2, 3, 4};
    float second[4] = {5, 6, 7, 8};
    float left[4];
    float right[4];
    const float* inputs[3] = {first, second, first};
    float* outputs[3] = {left, right, left};
    ProcessContext context;
};

TEST(RunChildTest, TicksRendersAndClearsInThisOrder) {
    Bench bench;
    EXPECT_TRUE(bench.Run());
    EXPECT_EQ(bench.calls, (Calls{"Probe UpdateParameters", "Probe Process", "Probe ClearParameterChanges"}));
    EXPECT_EQ(bench.right[3], 8.0F);
    EXPECT_FALSE(bench.probe.needsUpdate);
    EXPECT_FALSE(bench.probe.anyParameterChanged);
}

TEST(RunChildTest, FewerChannelsFitAndMoreDoNot) {
    Bench bench;
    bench.context.numInputs = 3;
    bench.ExpectSkipped("an input too many");
    bench.context.numInputs = 2;
    bench.context.numOutputs = 3;
    bench.ExpectSkipped("an output too many");
    bench.context.numInputs = bench.context.numOutputs = 1;
    EXPECT_TRUE(bench.Run());
    EXPECT_EQ(bench.left[0], 1.0F);
    EXPECT_EQ(bench.right[0], -1.0F);
}

TEST(RunChildTest, AChildThatDeclinesIsSkippedAndOneThatFailsIsStillCleared) {
    Bench bench;
    bench.probe.agrees = false;
    bench.ExpectSkipped("the tick declined");
    bench.probe.agrees = true;
    bench.probe.succeeds = false;
    EXPECT_FALSE(bench.Run());
    EXPECT_FALSE(bench.probe.needsUpdate);
    EXPECT_FALSE(bench.probe.anyParameterChanged);
}

} // namespace
} // namespace Velmora::dsp
