// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ModuleContainer.h"

#include "dsp/framework/Observable.h"
#include "dsp/framework/ParameterDeclaration.h"
#include "rigs/AllocationCounter.h"
#include "rigs/ProbeModule.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

using Velmora::Test::NameOf;
using Velmora::Test::ProbeModule;
using Calls = std::vector<std::string>;

/// A container that writes down what is done to it.
template <class... Children>
struct Composite : ModuleContainer<Children...> {
    template <class... Arguments>
    Composite(std::string moduleName, Calls* journal, std::vector<ModuleParam>&& own,
              Arguments&&... arguments)
        : ModuleContainer<Children...>(std::move(moduleName), 1, 1, std::move(own),
                                       std::forward<Arguments>(arguments)...),
          calls(journal) {}

    void OnInitialize(float sampleRate, u32 maxBlockSize) override {
        calls->push_back(this->name + " OnInitialize " + std::to_string(static_cast<int>(sampleRate)) + " " +
                         std::to_string(maxBlockSize));
    }
    void OnReset(bool hard) override {
        calls->push_back(this->name + (hard ? " OnReset hard" : " OnReset soft"));
    }
    void OnTerminate() override { calls->push_back(this->name + " Terminate"); }
    bool UpdateParameters(ProcessContext& /*context*/) override { return true; }
    bool Process(ProcessContext& /*context*/) override { return true; }

    using ModuleContainer<Children...>::Child;
    using ModuleContainerBase::AdditionalChanged;
    using ModuleContainerBase::linkedIds;
    Calls* calls;
};

struct Band : Composite<ProbeModule<2>, ProbeModule<0>, ProbeModule<1>> {
    static constexpr u32 parameterCount = childParameterCount + 1;
    explicit Band(Calls* journal)
        : Composite("Band", journal, RecordsOf({Declare::Linear("Solo", 0.0F, 10.0F)}),
                    std::tuple("Filter", journal), std::tuple("Meter", journal), std::tuple("", journal)) {}
    std::pair<float, u32> GetRateOverride(float sampleRate, u32 maxBlockSize) override {
        return {sampleRate * 2.0F, maxBlockSize * 3};
    }
};
struct Tree : Composite<ProbeModule<3>, Band, ProbeModule<1>> {
    static constexpr u32 parameterCount = childParameterCount + 2;
    explicit Tree(Calls* journal)
        : Composite(
              "", journal,
              RecordsOf({Declare::Linear("Volume", 0.0F, 10.0F), Declare::Linear("Panic", 0.0F, 10.0F)}),
              std::tuple("Input", journal), std::tuple(journal), std::tuple("Output", journal)) {
        linkedIds = {{1, 5, 9}}; // volume: two leaves and, in a chain, the other parameter, which has no list
    }
};
const Calls treeNames = {"Input_P0", "Input_P1",  "Input_P2",  "Band_Filter_P0", "Band_Filter_P1",
                         "Band_P0",  "Band_Solo", "Output_P0", "Volume",         "Panic"};

struct ModuleContainerTest : testing::Test {
    Calls calls;
    Observable<Tree> tree{&calls};
};

TEST_F(ModuleContainerTest,
       EveryIdReachesItsOwnRecordUnderItsPathAndItsFollowersAndNoOtherWithoutAllocating) {
    std::vector<float> expected(Tree::parameterCount, 0.0F);
    ASSERT_EQ(expected.size(), treeNames.size());
    for (u32 step = 0; step < 20; ++step) {
        const u32 id = step * 3 % 10;
        EXPECT_EQ(NameOf(tree, id), treeNames[id]);
        EXPECT_EQ(tree.FindParameter(id)->name, treeNames[id].substr(treeNames[id].rfind('_') + 1));
        const float value = 0.01F * static_cast<float>(step + 1);
        for (const u32 follower : id == 8 ? std::vector<u32>{8, 1, 5, 9} : std::vector<u32>{id}) {
            expected[follower] = value;
        }
        const orphia_reference::AllocationCounter counter;
        EXPECT_TRUE(step < 10 ? tree.SetParameterNormalized(id, value)
                              : tree.SetParameterValue(id, value * 10.0F));
        EXPECT_EQ(counter.Count(), 0U);
        for (u32 other = 0; other < 10; ++other) {
            ASSERT_NEAR(tree.GetParameterNormalized(other), expected[other], 1e-6F)
                << treeNames[other] << " after " << treeNames[id];
        }
    }
    for (const u32 id : {10U, 11U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(tree.SetParameterNormalized(id, 0.5F) || tree.SetParameterValue(id, 0.5F)) << id;
        EXPECT_EQ(tree.GetParameterNormalized(id), 0.0F) << id;
        EXPECT_EQ(tree.FindParameter(id), nullptr) << id;
        EXPECT_EQ(NameOf(tree, id), "") << id;
    }
}

TEST_F(ModuleContainerTest, SetUpResetAndEndRunThroughTheTreeChildrenFirst) {
    const auto expectCalls = [this](const std::string& call, const std::string& below) {
        EXPECT_EQ(calls, (Calls{"Input" + call, "Filter" + below, "Meter" + below, below, "Band" + below,
                                "Output" + call, call}));
        calls.clear();
    };
    for (Module* module : {static_cast<Module*>(&tree), static_cast<Module*>(&tree.Child<1>())}) {
        module->Initialize(24000.0F, 4);
    }
    EXPECT_EQ(calls.at(1), "Input OnReset hard");
    std::erase_if(calls, [](const std::string& call) { return call.ends_with("hard"); });
    calls.resize(7);
    expectCalls(" OnInitialize 24000 4", " OnInitialize 48000 12");
    EXPECT_TRUE(tree.AdditionalChanged(0) && tree.Child<0>().Changed(2));
    tree.ClearParameterChanges(false);
    for (const bool hard : {false, true}) {
        tree.Child<1>().needsUpdate = tree.needsUpdate = false;
        tree.Reset(hard);
        expectCalls(hard ? " OnReset hard" : " OnReset soft", hard ? " OnReset hard" : " OnReset soft");
        EXPECT_TRUE(tree.needsUpdate && tree.Child<1>().needsUpdate);
        EXPECT_EQ(tree.AdditionalChanged(1), hard);
    }
    tree.Terminate();
    expectCalls(" Terminate", " Terminate");
}

struct Listener : IModuleObserver {
    Listener(int listenerNumber, std::vector<float>& sharedStory)
        : number(listenerNumber), story(sharedStory) {}
    void OnParameterChanged(u32 id, float normalizedValue) override {
        const Velmora::MayBlock exception;
        story.push_back(static_cast<float>(100 * number + static_cast<int>(id)) + normalizedValue);
        if (isPassing) {
            delete this;
        }
    }
    int number;
    std::vector<float>& story;
    bool isPassing = false;
};

TEST_F(ModuleContainerTest, ObserversHearOfEveryAcceptedWriteTheLatestFirstAndMayEndInAnyOrderAndOutliveIt) {
    std::vector<float> story;
    const auto expectStory = [&](const std::vector<float>& expected) {
        EXPECT_EQ(std::exchange(story, {}), expected);
    };
    Listener first(0, story);
    auto subject = std::make_unique<Observable<Tree>>(&calls);
    auto* passing = new Listener(3, story);
    {
        Listener second(1, story);
        Listener third(2, story);
        for (Listener* listener :
             {&first, &second, passing, &third, &first}) { // a second time changes nothing
            subject->Attach(*listener);
        }
        passing->isPassing = true; // ends while it is told
        subject->SetParameterNormalized(7, 0.5F);
        expectStory({207.5F, 307.5F, 107.5F, 7.5F});
        subject->SetParameterValue(7, 5.0F);
        expectStory({207.5F, 107.5F, 7.5F}); // also when the value does not change
    }
    EXPECT_FALSE(subject->SetParameterNormalized(10, 0.5F) || subject->SetParameterValue(10, 0.5F));
    expectStory({}); // a refused write is not told
    subject->SetParameterNormalized(0, 0.25F);
    expectStory({0.25F});
    tree.Attach(first); // one attached elsewhere moves
    subject->SetParameterNormalized(0, 0.75F);
    expectStory({});
    subject.reset();
    tree.SetParameterNormalized(0, 0.75F);
    expectStory({0.75F});
}

} // namespace
} // namespace Velmora::dsp
