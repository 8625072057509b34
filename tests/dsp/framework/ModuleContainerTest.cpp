// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ModuleContainer.h"

#include "rigs/AllocationCounter.h"
#include "rigs/ProbeModule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

using Velmora::Test::NameOf;
using Velmora::Test::ProbeModule;
using Calls = std::vector<std::string>;

std::vector<ModuleParam> Named(const std::vector<std::string>& names) {
    std::vector<ModuleParam> records;
    records.reserve(names.size());
    for (const std::string& parameterName : names) {
        records.push_back(ModuleParam::Mapped(parameterName, 1, 0.0F, 20.0F, 0.0F));
    }
    return records;
}

/// A container that writes down what is done to it.
template <class... Children>
class Composite : public ModuleContainer<Children...> {
public:
    template <class... Arguments>
    Composite(std::string moduleName, Calls* calls, std::vector<ModuleParam>&& own, Arguments&&... arguments)
        : ModuleContainer<Children...>(std::move(moduleName), 1, 1, std::move(own),
                                       std::forward<Arguments>(arguments)...),
          journal(calls) {}

    void OnInitialize(float sampleRate, u32 maxBlockSize) override {
        Note("OnInitialize " + std::to_string(static_cast<int>(sampleRate)) + " " +
             std::to_string(maxBlockSize));
    }
    void OnReset(bool hard) override { Note(hard ? "OnReset hard" : "OnReset soft"); }
    void OnTerminate() override { Note("OnTerminate"); }
    bool UpdateParameters(ProcessContext& /*context*/) override { return true; }
    bool Process(ProcessContext& /*context*/) override { return true; }
    std::pair<float, u32> GetRateOverride(float sampleRate, u32 maxBlockSize) override {
        return {sampleRate * rateFactor, maxBlockSize * blockFactor};
    }

    using ModuleContainerBase::linkedIds;
    using ModuleContainer<Children...>::Child;

    float rateFactor = 1.0F;
    u32 blockFactor = 1;

private:
    void Note(const std::string& call) { journal->push_back(this->name + " " + call); }

    Calls* journal;
};

// Three levels: a leaf, a band of two leaves and one parameter of its own, a channel of two bands without
// a name, and a last leaf; two parameters of the top itself. The fixed id counts are what a concrete class
// states.
struct Band : Composite<ProbeModule<2>, ProbeModule<0>, ProbeModule<1>> {
    static constexpr u32 parameterCount = childParameterCount + 1;
    Band(std::string moduleName, Calls* calls)
        : Composite(std::move(moduleName), calls, Named({"Solo"}), std::tuple("Filter", calls),
                    std::tuple("Meter", calls), std::tuple("", calls)) {}
};
struct Channel : Composite<Band, Band> {
    static constexpr u32 parameterCount = childParameterCount;
    explicit Channel(Calls* calls)
        : Composite("", calls, {}, std::tuple("Low", calls), std::tuple("High", calls)) {}
};
struct Tree : Composite<ProbeModule<3>, Channel, ProbeModule<1>> {
    static constexpr u32 parameterCount = childParameterCount + 2;
    explicit Tree(Calls* calls)
        : Composite("", calls, Named({"Volume", "Panic"}), std::tuple("Input", calls), std::tuple(calls),
                    std::tuple("Output", calls)) {}
};

const Calls treeNames = {"Input_P0",  "Input_P1",  "Input_P2",       "Low_Filter_P0",  "Low_Filter_P1",
                         "Low_P0",    "Low_Solo",  "High_Filter_P0", "High_Filter_P1", "High_P0",
                         "High_Solo", "Output_P0", "Volume",         "Panic"};

TEST(ModuleContainerTest, EveryIdReachesItsOwnRecordAndNoOtherUnderItsPath) {
    Calls calls;
    Tree tree(&calls);
    constexpr u32 count = Tree::parameterCount;
    ASSERT_EQ(count, treeNames.size());
    std::vector<float> expected(count, 0.0F);
    for (u32 step = 0; step < 2 * count; ++step) {
        const u32 id = step * 5 % count;
        const std::string& name = treeNames[id];
        EXPECT_EQ(NameOf(tree, id), name) << "id " << id;
        ModuleParam* record = tree.FindParameter(id);
        EXPECT_EQ(record->name, name.substr(name.rfind('_') + 1)) << "id " << id;
        expected[id] = 0.01F * static_cast<float>(step + 1);
        EXPECT_TRUE(step % 2 == 0 ? tree.SetParameterNormalized(id, expected[id])
                                  : tree.SetParameterValue(id, expected[id] * record->maxValue));
        for (u32 other = 0; other < count; ++other) {
            ASSERT_NEAR(tree.GetParameterNormalized(other), expected[other], 1e-6F)
                << treeNames[other] << " after a write to " << name;
        }
    }
}

TEST(ModuleContainerTest, SetUpResetAndEndRunThroughTheTreeChildrenFirst) {
    Calls calls;
    Tree tree(&calls);
    const auto expectCalls = [&calls](const Calls& leaf, const Calls& container) {
        Calls expected;
        for (const char* module :
             {"Input", "Filter", "Meter", "", "Low*", "Filter", "Meter", "", "High*", "*", "Output", "*"}) {
            std::string path = module;
            const bool isContainer = !path.empty() && path.back() == '*';
            path.resize(path.size() - (isContainer ? 1 : 0));
            for (const std::string& call : isContainer ? container : leaf) {
                expected.push_back(path + call);
            }
        }
        EXPECT_EQ(calls, expected);
        calls.clear();
    };
    tree.Initialize(48000.0F, 44);
    const Calls setUp = {" OnInitialize 48000 44", " OnReset hard"};
    expectCalls(setUp, setUp);
    for (const bool hard : {false, true}) {
        tree.Child<1>().needsUpdate = tree.needsUpdate = false;
        tree.Reset(hard);
        const Calls reset = {hard ? " OnReset hard" : " OnReset soft"};
        expectCalls(reset, reset);
        EXPECT_TRUE(tree.needsUpdate && tree.Child<1>().needsUpdate);
    }
    tree.Terminate();
    expectCalls({" Terminate"}, {" OnTerminate"});
}

TEST(ModuleContainerTest, ARateOverrideHoldsForTheContainerAndAllBelowIt) {
    Calls calls;
    Tree tree(&calls);
    tree.Child<1>().rateFactor = 2.0F;
    tree.Child<1>().Child<1>().rateFactor = 4.0F;
    tree.Child<1>().Child<1>().blockFactor = 3;
    tree.Initialize(10000.0F, 8);
    const auto count = [&calls](const char* call) { return std::count(calls.begin(), calls.end(), call); };
    EXPECT_EQ(count("Output OnInitialize 10000 8"), 1);
    EXPECT_EQ(count("Filter OnInitialize 20000 8"), 1);
    EXPECT_EQ(count("Filter OnInitialize 80000 24"), 1);
    EXPECT_EQ(count("High OnInitialize 80000 24"), 1);
    EXPECT_EQ(count(" OnInitialize 10000 8"), 1) << "the top keeps what it was given";
}

TEST(ModuleContainerTest, LinkedParametersFollowWithTheNormalizedValue) {
    Calls calls;
    Tree tree(&calls);
    tree.linkedIds = {{1, 8, 13}}; // two leaves and, in a chain, the other parameter, which has no list
    tree.SetParameterNormalized(12, 0.4F);
    for (const u32 id : {1U, 8U, 13U, 12U}) {
        EXPECT_EQ(tree.GetParameterNormalized(id), 0.4F) << treeNames[id];
    }
    EXPECT_TRUE(tree.Child<0>().Changed(1));
    EXPECT_FALSE(tree.Child<0>().Changed(0));
    tree.SetParameterValue(12, 15.0F);
    EXPECT_EQ(tree.Child<0>().Value(1), 7.5F);
    tree.SetParameterNormalized(1, 0.1F);
    EXPECT_EQ(tree.GetParameterNormalized(12), 0.75F) << "the link has one direction";
}

TEST(ModuleContainerTest, IdsInNoRangeAreIgnoredAndTheirNameIsEmpty) {
    Calls calls;
    Tree tree(&calls);
    for (const u32 id : {14U, 15U, 1000U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(tree.SetParameterNormalized(id, 0.5F)) << id;
        EXPECT_FALSE(tree.SetParameterValue(id, 0.5F)) << id;
        EXPECT_EQ(tree.GetParameterNormalized(id), 0.0F) << id;
        EXPECT_EQ(tree.FindParameter(id), nullptr) << id;
        EXPECT_EQ(NameOf(tree, id), "") << id;
    }
    for (u32 id = 0; id < Tree::parameterCount; ++id) {
        EXPECT_EQ(tree.GetParameterNormalized(id), 0.0F) << treeNames[id];
    }
}

TEST(ModuleContainerTest, ParameterTrafficDoesNotAllocate) {
    Calls calls;
    Tree tree(&calls);
    tree.linkedIds = {{1, 8, 13}, {2}};
    char text[256];
    const orphia_reference::AllocationCounter counter;
    for (u32 id = 0; id < Tree::parameterCount; ++id) {
        tree.SetParameterNormalized(id, 0.5F);
        tree.SetParameterValue(id, 0.7F);
        tree.GetParameterNormalized(id);
        ParameterNameWriter writer(text, sizeof text);
        tree.GetParameterName(id, writer);
    }
    EXPECT_EQ(counter.Count(), 0U);
}

} // namespace
} // namespace Velmora::dsp
