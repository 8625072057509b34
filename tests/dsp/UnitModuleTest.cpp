// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/UnitModule.h"

#include "reference/AllocationCounter.h"
#include "support/ProbeModule.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

using Probe = Test::ProbeModule<3>;
using Flags = std::vector<u8>;
using Velmora::Test::NameOf;

/// Any of the three constructors, without behaviour of its own.
class PlainModule : public UnitModule {
public:
    using UnitModule::UnitModule;
    void OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) override {}
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(ProcessContext& /*context*/) override { return true; }
    bool Process(ProcessContext& /*context*/) override { return true; }
    using ParameterSet::parameters;
};

TEST(UnitModuleTest, InitializeAndHardResetMarkEveryParameterAndASoftResetNone) {
    std::vector<std::string> calls;
    Probe probe("Probe", &calls);
    EXPECT_EQ(probe.parameterChanged, Flags(3, 0));
    EXPECT_FALSE(probe.needsUpdate);

    probe.Initialize(48000.0F, 44);
    EXPECT_EQ(calls, (std::vector<std::string>{"Probe OnInitialize 48000 44", "Probe OnReset hard"}));
    EXPECT_EQ(probe.parameterChanged, Flags(3, 1));
    EXPECT_TRUE(probe.anyParameterChanged);
    EXPECT_TRUE(probe.needsUpdate);

    probe.ClearParameterChanges(false);
    probe.needsUpdate = false;
    calls.clear();
    probe.Reset(false);
    EXPECT_EQ(calls, std::vector<std::string>{"Probe OnReset soft"});
    EXPECT_EQ(probe.parameterChanged, Flags(3, 0));
    EXPECT_FALSE(probe.anyParameterChanged);
    EXPECT_TRUE(probe.needsUpdate);

    probe.needsUpdate = false;
    probe.SetParameterNormalized(1, 0.5F);
    probe.Reset(false);
    EXPECT_EQ(probe.parameterChanged, (Flags{0, 1, 0})) << "a pending mark survives a soft reset";
    probe.Reset(true);
    EXPECT_EQ(probe.parameterChanged, Flags(3, 1));
    EXPECT_TRUE(probe.anyParameterChanged);
}

TEST(UnitModuleTest, AWriteOfThePresentValueMarksNothingButIsStored) {
    Probe probe;
    EXPECT_TRUE(probe.SetParameterNormalized(1, 0.0F));
    EXPECT_EQ(probe.parameterChanged, Flags(3, 0));
    EXPECT_FALSE(probe.anyParameterChanged);
    EXPECT_EQ(probe.parameters[1].state, 1);
    EXPECT_TRUE(probe.SetParameterValue(2, 0.0F));
    EXPECT_EQ(probe.parameterChanged, Flags(3, 0));
    EXPECT_EQ(probe.parameters[2].state, 2);

    // The comparison sees through a conversion that is still due.
    probe.SetParameterValue(0, 5.0F);
    probe.ClearParameterChanges(false);
    probe.SetParameterNormalized(0, 0.5F);
    EXPECT_FALSE(probe.anyParameterChanged);
    probe.SetParameterNormalized(0, 0.75F);
    probe.ClearParameterChanges(false);
    probe.SetParameterValue(0, 7.5F);
    EXPECT_FALSE(probe.anyParameterChanged);
    EXPECT_EQ(probe.parameters[0].state, 2);
}

TEST(UnitModuleTest, AMarkStaysUntilItIsClearedEvenWhenTheValueReturns) {
    Probe probe;
    probe.SetParameterNormalized(1, 0.5F);
    EXPECT_EQ(probe.parameterChanged, (Flags{0, 1, 0}));
    EXPECT_TRUE(probe.anyParameterChanged);
    probe.SetParameterNormalized(1, 0.0F);
    probe.SetParameterNormalized(1, 0.0F);
    probe.SetParameterValue(1, 0.0F);
    EXPECT_EQ(probe.parameterChanged, (Flags{0, 1, 0}));
    probe.ClearParameterChanges(false);
    EXPECT_EQ(probe.parameterChanged, Flags(3, 0));
    EXPECT_FALSE(probe.anyParameterChanged);
    probe.SetParameterValue(2, 3.0F);
    EXPECT_EQ(probe.parameterChanged, (Flags{0, 0, 1}));
    EXPECT_TRUE(probe.anyParameterChanged);
}

TEST(UnitModuleTest, ClearingCostsNothingWithoutAMarkAndCanMarkAll) {
    Probe probe;
    probe.parameterChanged[1] = 1; // out of step with the common flag on purpose
    probe.ClearParameterChanges(false);
    EXPECT_EQ(probe.parameterChanged[1], 1);
    probe.ClearParameterChanges(true);
    EXPECT_EQ(probe.parameterChanged, Flags(3, 1));
    EXPECT_TRUE(probe.anyParameterChanged);
}

TEST(UnitModuleTest, ValuesAreStoredAsGiven) {
    Probe probe;
    probe.SetParameterNormalized(0, 1.75F);
    EXPECT_EQ(probe.GetParameterNormalized(0), 1.75F);
    EXPECT_EQ(probe.Value(0), 17.5F);
    probe.SetParameterValue(0, 25.0F);
    EXPECT_EQ(probe.Value(0), 25.0F);
    EXPECT_EQ(probe.GetParameterNormalized(0), 1.0F);
}

TEST(UnitModuleTest, TheThreeWaysToDeclareParameters) {
    PlainModule named("Mixer", 4, 2, std::vector<std::string>{"Level", "Pan"});
    EXPECT_EQ(named.numInputs, 4U);
    EXPECT_EQ(named.numOutputs, 2U);
    EXPECT_EQ(NameOf(named, 1), "Mixer_Pan");
    named.SetParameterNormalized(1, 0.25F);
    EXPECT_EQ(named.FindParameter(1)->GetValue(), 0.25F) << "raw without a declaration";

    std::vector<ModuleParam> records = {ModuleParam::Stepped("Mode", 3, 0.0F, 1.0F)};
    PlainModule complete("", 1, 1, std::move(records));
    EXPECT_EQ(NameOf(complete, 0), "Mode") << "an empty module name adds no underscore";
    EXPECT_EQ(complete.FindParameter(0)->maxValue, 2.0F);
    EXPECT_EQ(complete.FindParameter(1), nullptr);

    PlainModule counted(5);
    EXPECT_EQ(counted.parameters.size(), 5U);
    EXPECT_EQ(counted.numInputs, 3U);
    EXPECT_EQ(counted.numOutputs, 2U);
    EXPECT_EQ(counted.name, "");
}

TEST(UnitModuleTest, NothingOnTheAudioPathAllocates) {
    Probe probe("Probe");
    probe.Initialize(48000.0F, 44);
    alignas(16) float samples[48] = {0.0F, 0.0F, 0.0F, 1.0F}; // an active modulation from the fourth on
    const float* inputs[] = {samples + 4};
    float* outputs[] = {samples + 4};
    ProcessContext context;
    context = context.ForChild(inputs, 1, outputs, 1);
    context.numFrames = 44;
    char text[256];
    const orphia_reference::AllocationCounter counter;
    for (u32 id = 0; id < 3; ++id) {
        ParameterNameWriter writer(text, sizeof text);
        probe.SetParameterNormalized(id, 0.5F);
        probe.SetParameterValue(id, 0.7F);
        probe.GetParameterNormalized(id);
        probe.GetParameterName(id, writer);
    }
    probe.parameters[0].RenderModulated(context, 0, samples + 4);
    probe.ClearParameterChanges(false);
    probe.Reset(true);
    EXPECT_EQ(counter.Count(), 0U);
}

} // namespace
} // namespace Velmora::dsp
