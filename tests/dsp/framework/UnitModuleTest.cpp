// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/UnitModule.h"

#include "dsp/framework/RunChild.h"
#include "rigs/ProbeModule.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::dsp {
namespace {

using Calls = std::vector<std::string>;
using Flags = std::vector<u8>;

struct UnitModuleTest : testing::Test {
    /// The marks, which must agree with their common flag; then clears them.
    Flags Marks() {
        const Flags marks = probe.parameterChanged;
        EXPECT_EQ(probe.anyParameterChanged, marks != Flags(3, 0));
        probe.ClearParameterChanges(false);
        return marks;
    }
    Calls calls;
    Velmora::Test::ProbeModule<3, 2> probe{"Probe", &calls};
};

TEST_F(UnitModuleTest, SetUpAndHardResetMarkAllAWriteOnlyWhatDiffersAndItsMarkStays) {
    EXPECT_EQ(Marks(), Flags(3, 0));
    probe.Initialize(48000.0F, 44);
    EXPECT_EQ(Marks(), Flags(3, 1));
    for (const bool hard : {false, true}) {
        probe.SetParameterNormalized(1, 0.5F);
        probe.SetParameterNormalized(1, 0.0F);
        probe.SetParameterValue(1, 0.0F);
        probe.needsUpdate = false;
        probe.Reset(hard);
        EXPECT_TRUE(probe.needsUpdate);
        EXPECT_EQ(Marks(), (hard ? Flags{1, 1, 1} : Flags{0, 1, 0})) << "also when the value returned";
    }
    probe.SetParameterNormalized(1, 0.0F);
    probe.SetParameterValue(2, 0.0F);
    EXPECT_EQ(Marks(), Flags(3, 0));
    probe.SetParameterValue(0, 5.0F);
    EXPECT_EQ(Marks(), (Flags{1, 0, 0}));
    probe.SetParameterNormalized(0, 0.5F);
    EXPECT_EQ(Marks(), Flags(3, 0)) << "the comparison sees through a conversion that is due";
    probe.ClearParameterChanges(true);
    EXPECT_EQ(Marks(), Flags(3, 1));
}

TEST_F(UnitModuleTest, AParentTicksRendersAndClearsOrSkipsAChildThatDeclinesOrDoesNotFit) {
    const float silence[4] = {};
    const float* inputs[3] = {silence, silence, silence};
    const auto expectRun = [&](u32 inputCount, u32 outputCount, bool runs, const char* what) {
        probe.Initialize(48000.0F, 4);
        calls.clear();
        float out[3][4] = {{-1.0F}, {-1.0F}, {-1.0F}};
        float* outputs[3] = {out[0], out[1], out[2]};
        ProcessContext context = ProcessContext().ForChild(inputs, inputCount, outputs, outputCount);
        context.numFrames = 4;
        EXPECT_EQ(RunChild(probe, context), runs && probe.succeeds) << what;
        const Calls all = {"Probe UpdateParameters", "Probe Process", "Probe ClearParameterChanges"};
        EXPECT_EQ(calls, runs ? all : Calls{all[0]}) << what;
        EXPECT_EQ(probe.needsUpdate || probe.anyParameterChanged, !runs) << what;
        EXPECT_EQ(out[1][0], runs && outputCount > 1 ? 0.0F : -1.0F) << what;
    };
    expectRun(1, 1, true, "fewer channels");
    expectRun(2, 2, true, "all channels");
    expectRun(3, 2, false, "an input too many");
    expectRun(2, 3, false, "an output too many");
    probe.succeeds = false;
    expectRun(2, 2, true, "one that fails is cleared too");
    probe.agrees = false;
    expectRun(2, 2, false, "the tick declined");
}

TEST(ParameterNameWriterTest, KeepsWhatFitsAndCountsWhatTheWholeNameTakes) {
    const std::string whole = "Slot4294967295_0";
    for (u32 capacity = 0; capacity <= whole.size() + 4; ++capacity) {
        std::string memory(whole.size() + 8, '#');
        ParameterNameWriter writer(memory.data(), capacity);
        writer.Append("Slot");
        writer.Append(4294967295U);
        writer.Append("_");
        writer.Append(0U);
        EXPECT_EQ(writer.needed, whole.size() + 1);
        std::string expected = whole.substr(0, writer.used) + std::string(capacity == 0 ? 0 : 1, '\0');
        EXPECT_EQ(expected.size(), std::min<std::size_t>(capacity, whole.size() + 1));
        EXPECT_EQ(memory, expected.append(memory.size() - expected.size(), '#')) << capacity;
    }
}

} // namespace
} // namespace Velmora::dsp
