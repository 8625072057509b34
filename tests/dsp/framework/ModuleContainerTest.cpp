// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ModuleContainer.h"

#include "dsp/framework/Observable.h"
#include "dsp/framework/ParameterDeclaration.h"
#include "rigs/ProbeModule.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

using Velmora::Test::ProbeModule;
using Calls = std::vector<std::string>;

/// Runs at twice the rate, and writes down what is done to it.
struct Tree : ModuleContainer<ProbeModule<3>, ProbeModule<1>> {
    explicit Tree(Calls* journal)
        : ModuleContainer("", 1, 1, RecordsOf({Declare::Raw("Volume"), Declare::Raw("Panic")}),
                          std::tuple("Input", journal), std::tuple("Output", journal)),
          calls(journal) {
        linkedIds = {{1, 3, 5}}; // volume: two leaves and, in a chain, the other parameter, which has no list
    }
    void OnInitialize(float /*sampleRate*/, u32 maxBlockSize) override {
        calls->push_back("OnInitialize " + std::to_string(maxBlockSize));
    }
    void OnReset(bool hard) override { calls->emplace_back(hard ? "OnReset hard" : "OnReset soft"); }
    void OnTerminate() override { calls->emplace_back("Terminate"); }
    bool UpdateParameters(ProcessContext& /*context*/) override { return true; }
    bool Process(ProcessContext& /*context*/) override { return true; }
    std::pair<float, u32> GetRateOverride(float sampleRate, u32 maxBlockSize) override {
        return {sampleRate * 2.0F, maxBlockSize * 3};
    }

    using ModuleContainer::Child;
    using ModuleContainerBase::AdditionalChanged;
    Calls* calls;
};

struct ModuleContainerTest : testing::Test {
    Calls calls;
    Observable<Tree> tree{&calls};
};

TEST_F(ModuleContainerTest, AControlLeadsItsFollowersAndNoIdLiesBeyondTheLast) {
    EXPECT_TRUE(tree.SetParameterValue(4, 0.5F));
    std::vector<float> positions;
    for (u32 id = 0; id < 6; ++id) {
        positions.push_back(tree.GetParameterNormalized(id));
    }
    EXPECT_EQ(positions, (std::vector{0.0F, 0.5F, 0.0F, 0.5F, 0.5F, 0.5F}));
    EXPECT_FALSE(tree.SetParameterNormalized(6, 0.5F) || tree.SetParameterValue(6, 0.5F));
    EXPECT_TRUE(tree.GetParameterNormalized(6) == 0.0F && tree.FindParameter(6) == nullptr);
    EXPECT_EQ(Velmora::Test::NameOf(tree, 6) + Velmora::Test::NameOf(tree, 3), "Output_P0");
}

TEST_F(ModuleContainerTest, SetUpResetAndEndRunThroughTheTreeChildrenFirst) {
    const auto expectCalls = [this](const Calls& expected) { EXPECT_EQ(std::exchange(calls, {}), expected); };
    static_cast<Module&>(tree).Initialize(24000.0F, 4);
    expectCalls({"Input OnInitialize 12", "Input OnReset hard", "Output OnInitialize 12",
                 "Output OnReset hard", "OnInitialize 12", "OnReset hard"});
    EXPECT_TRUE(tree.AdditionalChanged(0) && tree.Child<0>().Changed(2));
    for (const bool hard : {false, true}) {
        tree.ClearParameterChanges(false);
        tree.Child<1>().needsUpdate = tree.needsUpdate = false;
        tree.Reset(hard);
        const std::string call = hard ? "OnReset hard" : "OnReset soft";
        expectCalls({"Input " + call, "Output " + call, call});
        EXPECT_TRUE(tree.needsUpdate && tree.Child<1>().needsUpdate);
        EXPECT_EQ(tree.AdditionalChanged(1), hard);
    }
    tree.Terminate();
    expectCalls({"Input Terminate", "Output Terminate", "Terminate"});
}

struct Listener : IModuleObserver {
    explicit Listener(std::vector<float>& sharedStory) : story(sharedStory) {}
    void OnParameterChanged(u32 id, float normalizedValue) override {
        const Velmora::MayBlock exception;
        story.push_back(static_cast<float>(id) + normalizedValue);
        delete this;
    }
    std::vector<float>& story;
};

TEST_F(ModuleContainerTest, ObserversHearOfAcceptedWritesAndMayEndWhileTheyDo) {
    std::vector<float> story;
    tree.Attach(*new Listener(story));
    tree.Attach(*new Listener(story));
    tree.SetParameterNormalized(6, 1.0F); // refused
    tree.SetParameterValue(6, 1.0F);
    tree.SetParameterValue(3, 5.0F);
    tree.SetParameterValue(3, 2.5F);
    auto* moving = new Listener(story);
    tree.Attach(*moving);
    Observable<Tree>(&calls).Attach(*moving); // and ends, so that nobody tells it
    tree.SetParameterNormalized(3, 1.0F);
    tree.Attach(*moving);
    tree.SetParameterNormalized(3, 1.0F);
    EXPECT_EQ(story, (std::vector{3.5F, 3.5F, 4.0F}));
}

} // namespace
} // namespace Velmora::dsp
