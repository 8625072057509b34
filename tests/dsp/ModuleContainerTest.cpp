// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/ModuleContainer.h"

#include "reference/AllocationCounter.h"
#include "support/CLog.h"
#include "support/ProbeModule.h"

#include <gtest/gtest.h>

#include <map>
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

    using ModuleContainerBase::additional;
    using ModuleContainerBase::AdditionalChanged;
    using ModuleContainerBase::AdditionalValue;
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

    /// Every record in the order of the ids, told by hand.
    std::vector<const ModuleParam*> Records() {
        std::vector<const ModuleParam*> all;
        const auto add = [&all](auto& parameters) {
            for (const ModuleParam& record : parameters) {
                all.push_back(&record);
            }
        };
        add(Child<0>().parameters);
        for (Band* band : {&Child<1>().Child<0>(), &Child<1>().Child<1>()}) {
            add(band->Child<0>().parameters);
            add(band->Child<2>().parameters);
            add(band->additional.parameters);
        }
        add(Child<2>().parameters);
        add(additional.parameters);
        return all;
    }
};

const Calls treeNames = {"Input_P0",  "Input_P1",  "Input_P2",       "Low_Filter_P0",  "Low_Filter_P1",
                         "Low_P0",    "Low_Solo",  "High_Filter_P0", "High_Filter_P1", "High_P0",
                         "High_Solo", "Output_P0", "Volume",         "Panic"};

/// Keeps the lines of the common log while it lives; as a file the log has the null device.
class CommonLogLines : private ILogListener {
public:
    CommonLogLines() {
        CLog::GetInstance().SetFile("/dev/null");
        CLog::GetInstance().SetListener(this);
    }
    ~CommonLogLines() override {
        CLog::GetInstance().SetListener(nullptr);
        CLog::GetInstance().SetFile("");
    }
    Calls lines;

private:
    void OnLogLine(std::string_view line) override { lines.emplace_back(line); }
};

TEST(ModuleContainerTest, NamesAreThePathsOfTheModules) {
    Calls calls;
    Tree tree(&calls);
    ASSERT_EQ(Tree::parameterCount, treeNames.size());
    for (u32 id = 0; id < treeNames.size(); ++id) {
        EXPECT_EQ(NameOf(tree, id), treeNames[id]) << "id " << id;
    }
    EXPECT_EQ(Tree::FirstParameter<1>(), 3U);
    EXPECT_EQ(Tree::FirstParameter<2>(), 11U);
    EXPECT_EQ(Band::FirstParameter<2>(), 2U) << "a child without parameters takes no id";
}

TEST(ModuleContainerTest, EveryIdReachesItsOwnRecordAndNoOther) {
    Calls calls;
    Tree tree(&calls);
    const auto records = tree.Records();
    ASSERT_EQ(records.size(), treeNames.size());
    std::vector<float> expected(records.size(), 0.0F);
    for (u32 step = 0; step < 2 * records.size(); ++step) {
        const u32 id = step * 5 % static_cast<u32>(records.size());
        expected[id] = 0.01F * static_cast<float>(step + 1);
        if (step % 2 == 0) {
            EXPECT_TRUE(tree.SetParameterNormalized(id, expected[id]));
        } else {
            EXPECT_TRUE(tree.SetParameterValue(id, expected[id] * records[id]->maxValue));
        }
        EXPECT_EQ(tree.FindParameter(id), records[id]);
        for (u32 other = 0; other < records.size(); ++other) {
            ASSERT_NEAR(records[other]->PeekNormalized(), expected[other], 1e-6F)
                << treeNames[other] << " after a write to " << treeNames[id];
            ASSERT_NEAR(tree.GetParameterNormalized(other), expected[other], 1e-6F) << treeNames[other];
        }
    }
}

TEST(ModuleContainerTest, SetUpResetAndEndRunThroughTheTreeInOrder) {
    Calls calls;
    Tree tree(&calls);
    tree.Initialize(48000.0F, 44);
    const std::string at = " OnInitialize 48000 44";
    EXPECT_EQ(calls, (Calls{"Input" + at,
                            "Input OnReset hard",
                            "Filter" + at,
                            "Filter OnReset hard",
                            "Meter" + at,
                            "Meter OnReset hard",
                            at,
                            " OnReset hard",
                            "Low" + at,
                            "Low OnReset hard",
                            "Filter" + at,
                            "Filter OnReset hard",
                            "Meter" + at,
                            "Meter OnReset hard",
                            at,
                            " OnReset hard",
                            "High" + at,
                            "High OnReset hard",
                            at,
                            " OnReset hard",
                            "Output" + at,
                            "Output OnReset hard",
                            at,
                            " OnReset hard"}));
    for (const bool hard : {false, true}) {
        calls.clear();
        tree.Child<1>().needsUpdate = tree.needsUpdate = false;
        tree.Reset(hard);
        const std::string how = hard ? " OnReset hard" : " OnReset soft";
        EXPECT_EQ(calls, (Calls{"Input" + how, "Filter" + how, "Meter" + how, how, "Low" + how,
                                "Filter" + how, "Meter" + how, how, "High" + how, how, "Output" + how, how}));
        EXPECT_TRUE(tree.needsUpdate);
        EXPECT_TRUE(tree.Child<1>().needsUpdate);
    }
    calls.clear();
    tree.Terminate();
    EXPECT_EQ(calls, (Calls{"Input Terminate", "Filter Terminate", "Meter Terminate", " Terminate",
                            "Low OnTerminate", "Filter Terminate", "Meter Terminate", " Terminate",
                            "High OnTerminate", " OnTerminate", "Output Terminate", " OnTerminate"}));
}

TEST(ModuleContainerTest, ARateOverrideHoldsForTheContainerAndAllBelowIt) {
    Calls calls;
    Tree tree(&calls);
    tree.Child<1>().rateFactor = 2.0F;
    tree.Child<1>().Child<1>().rateFactor = 4.0F;
    tree.Child<1>().Child<1>().blockFactor = 3;
    tree.Initialize(10000.0F, 8);
    std::map<std::string, int> count;
    for (const std::string& call : calls) {
        ++count[call];
    }
    EXPECT_EQ(count["Input OnInitialize 10000 8"], 1);
    EXPECT_EQ(count["Output OnInitialize 10000 8"], 1);
    EXPECT_EQ(count["Low OnInitialize 20000 8"], 1);
    EXPECT_EQ(count["High OnInitialize 80000 24"], 1);
    EXPECT_EQ(count["Filter OnInitialize 20000 8"], 1);
    EXPECT_EQ(count["Filter OnInitialize 80000 24"], 1);
    EXPECT_EQ(count[" OnInitialize 20000 8"], 2) << "the channel and the unnamed leaf of the low band";
    EXPECT_EQ(count[" OnInitialize 10000 8"], 1) << "the top keeps what it was given";
}

TEST(ModuleContainerTest, OwnParametersKeepMarksLikeThoseOfALeaf) {
    Calls calls;
    Tree tree(&calls);
    const auto marks = [&tree] { return std::pair(tree.AdditionalChanged(0), tree.AdditionalChanged(1)); };
    tree.Initialize(48000.0F, 44);
    EXPECT_EQ(marks(), std::pair(true, true));
    EXPECT_TRUE(tree.additional.anyParameterChanged);
    tree.ClearParameterChanges(false);
    EXPECT_EQ(marks(), std::pair(false, false));
    EXPECT_FALSE(tree.additional.anyParameterChanged);
    EXPECT_TRUE(tree.Child<0>().anyParameterChanged) << "a child's marks are its parent's call";

    tree.Reset(false);
    tree.SetParameterNormalized(12, 0.0F);
    EXPECT_EQ(marks(), std::pair(false, false));
    tree.SetParameterValue(13, 5.0F);
    tree.SetParameterValue(13, 0.0F);
    EXPECT_EQ(marks(), std::pair(false, true));
    EXPECT_TRUE(tree.additional.anyParameterChanged);
    tree.ClearParameterChanges(false);
    tree.SetParameterValue(12, 5.0F);
    EXPECT_EQ(tree.AdditionalValue(0), 5.0F);
    tree.Reset(true);
    EXPECT_EQ(marks(), std::pair(true, true));
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
    for (const u32 id : {1U, 8U, 13U}) {
        EXPECT_EQ(tree.GetParameterNormalized(id), 0.75F) << treeNames[id];
    }
    EXPECT_EQ(tree.Child<0>().Value(1), 7.5F);
    EXPECT_EQ(tree.GetParameterNormalized(0), 0.0F);
    tree.SetParameterNormalized(1, 0.1F);
    EXPECT_EQ(tree.GetParameterNormalized(12), 0.75F) << "the link has one direction";
}

TEST(ModuleContainerTest, IdsInNoRangeAreIgnored) {
    Calls calls;
    Tree tree(&calls);
    for (const u32 id : {14U, 15U, 1000U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(tree.SetParameterNormalized(id, 0.5F)) << id;
        EXPECT_FALSE(tree.SetParameterValue(id, 0.5F)) << id;
        EXPECT_EQ(tree.GetParameterNormalized(id), 0.0F) << id;
        EXPECT_EQ(tree.FindParameter(id), nullptr) << id;
    }
    for (const ModuleParam* record : tree.Records()) {
        EXPECT_EQ(record->PeekNormalized(), 0.0F) << record->name;
    }
}

TEST(ModuleContainerTest, TheNameOfAnIdBeyondTheLastIsEmptyAndLogged) {
    Calls calls;
    Tree tree(&calls);
    const CommonLogLines log;
    EXPECT_EQ(NameOf(tree, 13), "Panic");
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(NameOf(tree, 20), "");
    EXPECT_EQ(NameOf(tree.Child<1>().Child<0>(), 4), "") << "not even the container's own name";
    ASSERT_EQ(log.lines.size(), 2U);
    const std::string expected[] = {
        "ModuleContainer::GetParameterName: paramId 20 out of bounds. Accessing 9 "
        "additional parameters but only 2 ModuleParam are initialized",
        "ModuleContainer::GetParameterName: paramId 4 out of bounds. Accessing 2 "
        "additional parameters but only 1 ModuleParam are initialized"};
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(log.lines[i].substr(log.lines[i].rfind(" | ") + 3), expected[i]);
        EXPECT_NE(log.lines[i].find(" audio_engine |"), std::string::npos) << log.lines[i];
    }
}

TEST(ModuleContainerTest, ParameterTrafficDoesNotAllocate) {
    Calls calls;
    Tree tree(&calls);
    tree.linkedIds = {{1, 8, 13}, {2}};
    char text[256];
    const orphia_reference::AllocationCounter counter;
    for (u32 id = 0; id < Tree::parameterCount + 1; ++id) {
        tree.SetParameterNormalized(id, 0.5F);
        tree.SetParameterValue(id, 0.7F);
        tree.GetParameterNormalized(id);
        ParameterNameWriter writer(text, sizeof text);
        if (id < Tree::parameterCount) {
            tree.GetParameterName(id, writer);
        }
    }
    tree.ClearParameterChanges(false);
    EXPECT_EQ(counter.Count(), 0U);
}

} // namespace
} // namespace Velmora::dsp
