// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ModuleCloner.h"

#include "reference/AllocationCounter.h"
#include "support/ProbeModule.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace Velmora::engine {
namespace {

using Velmora::Test::NameOf;
using Calls = std::vector<std::string>;
constexpr u32 cloneCount = 3;

/// A clone of two channels; its first parameter starts off its minimum, its last has another curve.
class Voice : public Velmora::Test::ProbeModule<3, 2> {
public:
    Voice() : ProbeModule("Voice") {
        parameters[0].SetValue(4.0F);
        parameters[2] = dsp::ModuleParam::Mapped("Tune", 2, 1.0F, 9.0F, 3.0F);
    }
};

std::vector<dsp::ModuleParam> OwnRecord() {
    std::vector<dsp::ModuleParam> own;
    own.push_back(dsp::ModuleParam::Mapped("Spread", 1, 0.0F, 2.0F, 0.0F));
    return own;
}

class Plain : public ModuleCloner<Voice, cloneCount, 0, 1> {
public:
    explicit Plain(Calls* calls = nullptr) : ModuleCloner("Bank", OwnRecord()), journal(calls) {
        for (u32 i = 0; i < cloneCount; ++i) {
            Clone(i).name = "Voice" + std::to_string(i);
            Clone(i).journal = calls;
            Clone(i).offset = 100.0F * static_cast<float>(i + 1);
        }
    }
    void OnInitialize(float sampleRate, u32 maxBlockSize) override {
        ModuleCloner::OnInitialize(sampleRate, maxBlockSize);
        Note("OnInitialize");
    }
    void OnReset(bool hard) override {
        ModuleCloner::OnReset(hard);
        Note(hard ? "OnReset hard" : "OnReset soft");
    }

private:
    void Note(const char* call) {
        if (journal != nullptr) {
            journal->push_back("Bank " + std::string(call));
        }
    }
    Calls* journal;
};

class Grouped : public ModuleCloner<Voice, cloneCount, 1, 0> {
public:
    Grouped() {
        for (u32 i = 0; i < cloneCount; ++i) {
            Clone(i).offset = 100.0F * static_cast<float>(i + 1);
        }
    }
};

/// Ten channels of four frames; input c holds the number c + 1, the outputs -1.
struct Buffers {
    Buffers() {
        for (std::size_t c = 0; c < 10; ++c) {
            in[c].fill(static_cast<float>(c + 1));
            out[c].fill(-1.0F);
            inputs[c] = in[c].data();
            outputs[c] = out[c].data();
        }
    }
    dsp::ProcessContext Context(u32 numInputs, u32 numOutputs) const {
        dsp::ProcessContext context = dsp::ProcessContext().ForChild(inputs, numInputs, outputs, numOutputs);
        context.numFrames = 4;
        return context;
    }
    std::array<float, 10> LastFrames() const {
        std::array<float, 10> last{};
        for (std::size_t c = 0; c < 10; ++c) {
            last[c] = out[c][3];
        }
        return last;
    }
    std::array<float, 4> in[10];
    std::array<float, 4> out[10];
    const float* inputs[10];
    float* outputs[10];
};

constexpr std::array<float, 10> untouched = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

TEST(ModuleClonerTest, EveryCloneRendersItsOwnChannels) {
    Plain cloner;
    const Buffers buffers;
    dsp::ProcessContext context = buffers.Context(6, 6);
    EXPECT_TRUE(cloner.UpdateParameters(context));
    EXPECT_TRUE(cloner.Process(context));
    EXPECT_EQ(buffers.LastFrames(), (std::array<float, 10>{101, 102, 203, 204, 305, 306, -1, -1, -1, -1}));
    EXPECT_EQ(cloner.numInputs, 6U);
    EXPECT_EQ(cloner.numOutputs, 6U);
}

TEST(ModuleClonerTest, AWrongChannelTotalRendersNothing) {
    Calls calls;
    Plain cloner(&calls);
    const Buffers buffers;
    for (u32 numInputs = 0; numInputs <= 8; ++numInputs) {
        for (u32 numOutputs = 0; numOutputs <= 8; ++numOutputs) {
            if (numInputs != 6 || numOutputs != 6) {
                dsp::ProcessContext context = buffers.Context(numInputs, numOutputs);
                EXPECT_FALSE(cloner.Process(context)) << numInputs << " in, " << numOutputs << " out";
            }
        }
    }
    EXPECT_EQ(buffers.LastFrames(), untouched);
    EXPECT_TRUE(calls.empty()) << "no clone was even asked, yet " << calls.front();
}

TEST(ModuleClonerTest, OneCloneThatFailsOrDeclinesFailsTheWholeButStopsNoOther) {
    for (const bool declines : {true, false}) {
        Plain cloner;
        cloner.Initialize(48000.0F, 4);
        const Buffers buffers;
        (declines ? cloner.Clone(1).agrees : cloner.Clone(1).succeeds) = false;
        dsp::ProcessContext context = buffers.Context(6, 6);
        EXPECT_FALSE(cloner.Process(context));
        EXPECT_EQ(buffers.out[0][0], 101.0F);
        EXPECT_EQ(buffers.out[2][0], declines ? -1.0F : 203.0F);
        EXPECT_EQ(buffers.out[4][0], 305.0F);
        EXPECT_EQ(cloner.Clone(1).anyParameterChanged, declines);
        EXPECT_FALSE(cloner.Clone(2).anyParameterChanged) << "marks are cleared as by any parent";
        EXPECT_FALSE(cloner.Clone(2).needsUpdate);
    }
}

TEST(ModuleClonerTest, InGroupModeCloneZeroAloneRendersTheLastGroup) {
    Grouped cloner;
    EXPECT_EQ(cloner.numInputs, 8U);
    EXPECT_EQ(cloner.numOutputs, 8U);
    for (const u32 numInputs : {8U, 0U, 10U}) {
        const Buffers buffers;
        dsp::ProcessContext context = buffers.Context(numInputs, 8);
        EXPECT_TRUE(cloner.Process(context));
        EXPECT_EQ(buffers.LastFrames(), (std::array<float, 10>{-1, -1, -1, -1, -1, -1, 107, 108, -1, -1}))
            << numInputs << " inputs";
    }
    const Buffers buffers;
    for (const u32 numOutputs : {0U, 2U, 6U, 7U, 9U}) {
        dsp::ProcessContext context = buffers.Context(8, numOutputs);
        EXPECT_FALSE(cloner.Process(context)) << numOutputs;
    }
    EXPECT_EQ(buffers.LastFrames(), untouched);
}

TEST(ModuleClonerTest, OutOfGroupModeTheClonesRenderAndTheLastGroupRests) {
    Grouped cloner;
    cloner.runsAllClones = true;
    const Buffers buffers;
    for (const auto& [numInputs, numOutputs] :
         std::vector<std::array<u32, 2>>{{6, 8}, {8, 6}, {6, 6}, {0, 8}, {10, 8}}) {
        dsp::ProcessContext context = buffers.Context(numInputs, numOutputs);
        EXPECT_FALSE(cloner.Process(context)) << numInputs << " in, " << numOutputs << " out";
    }
    EXPECT_EQ(buffers.LastFrames(), untouched);
    dsp::ProcessContext context = buffers.Context(8, 8);
    EXPECT_TRUE(cloner.Process(context));
    EXPECT_EQ(buffers.LastFrames(), (std::array<float, 10>{101, 102, 203, 204, 305, 306, -1, -1, -1, -1}));
}

TEST(ModuleClonerTest, ParametersGoToEveryCloneAndAreReadFromTheClonersOwnRecords) {
    Plain cloner;
    ASSERT_EQ(Plain::parameterCount, 4U);
    EXPECT_EQ(cloner.GetParameterNormalized(0), 0.4F) << "the start value is that of the module";
    EXPECT_NEAR(cloner.FindParameter(2)->ToValue(0.5F), 2.0F, 1e-6F) << "and so is the curve";

    EXPECT_TRUE(cloner.SetParameterNormalized(1, 0.5F));
    EXPECT_TRUE(cloner.SetParameterValue(2, 2.0F));
    for (u32 i = 0; i < cloneCount; ++i) {
        EXPECT_EQ(cloner.Clone(i).Value(0), 4.0F);
        EXPECT_EQ(cloner.Clone(i).Value(1), 5.0F);
        EXPECT_EQ(cloner.Clone(i).Value(2), 2.0F);
        EXPECT_TRUE(cloner.Clone(i).Changed(1));
        EXPECT_FALSE(cloner.Clone(i).Changed(0));
    }
    EXPECT_EQ(cloner.GetParameterNormalized(1), 0.5F);
    EXPECT_NEAR(cloner.GetParameterNormalized(2), 0.5F, 1e-6F);

    cloner.Clone(0).SetParameterNormalized(1, 0.9F);
    EXPECT_EQ(cloner.GetParameterNormalized(1), 0.5F) << "a clone set by itself does not show";
}

TEST(ModuleClonerTest, OwnParametersConcernNoCloneAndIdsBeyondThemAreRefused) {
    Plain cloner;
    EXPECT_TRUE(cloner.SetParameterNormalized(3, 0.25F));
    EXPECT_EQ(cloner.FindParameter(3)->GetValue(), 0.5F);
    EXPECT_TRUE(cloner.SetParameterValue(3, 1.5F));
    EXPECT_EQ(cloner.GetParameterNormalized(3), 0.75F);
    for (const u32 id : {4U, 1000U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(cloner.SetParameterNormalized(id, 0.5F)) << id;
        EXPECT_FALSE(cloner.SetParameterValue(id, 0.5F)) << id;
        EXPECT_EQ(cloner.GetParameterNormalized(id), 0.0F) << id;
        EXPECT_EQ(NameOf(cloner, id), "") << id;
        EXPECT_EQ(cloner.FindParameter(id), nullptr) << id;
    }
    for (u32 i = 0; i < cloneCount; ++i) {
        EXPECT_FALSE(cloner.Clone(i).anyParameterChanged) << "clone " << i;
    }
}

TEST(ModuleClonerTest, NamesAreThoseOfTheFirstClone) {
    Plain cloner;
    EXPECT_EQ(NameOf(cloner, 1), "Bank_Voice0_P1");
    EXPECT_EQ(NameOf(cloner, 2), "Bank_Voice0_Tune");
    EXPECT_EQ(NameOf(cloner, 3), "Bank_Spread");
    Grouped unnamed;
    EXPECT_EQ(NameOf(unnamed, 0), "Voice_P0");
}

TEST(ModuleClonerTest, LifeRunsThroughTheClonesFirst) {
    Calls calls;
    Plain cloner(&calls);
    cloner.Initialize(48000.0F, 44);
    EXPECT_EQ(calls,
              (Calls{"Voice0 OnInitialize 48000 44", "Voice0 OnReset hard", "Voice1 OnInitialize 48000 44",
                     "Voice1 OnReset hard", "Voice2 OnInitialize 48000 44", "Voice2 OnReset hard",
                     "Bank OnInitialize", "Bank OnReset hard"}));
    EXPECT_TRUE(cloner.needsUpdate);
    calls.clear();
    cloner.needsUpdate = false;
    cloner.Reset(false);
    EXPECT_EQ(calls, (Calls{"Voice0 OnReset soft", "Voice1 OnReset soft", "Voice2 OnReset soft",
                            "Bank OnReset soft"}));
    EXPECT_TRUE(cloner.needsUpdate);
    calls.clear();
    cloner.Terminate();
    EXPECT_EQ(calls, (Calls{"Voice0 Terminate", "Voice1 Terminate", "Voice2 Terminate"}));
}

TEST(ModuleClonerTest, ABlockDoesNotAllocate) {
    Grouped cloner;
    cloner.Initialize(48000.0F, 4);
    const Buffers buffers;
    dsp::ProcessContext context = buffers.Context(8, 8);
    const orphia_reference::AllocationCounter counter;
    for (const bool all : {false, true}) {
        cloner.runsAllClones = all;
        cloner.SetParameterNormalized(1, 0.5F);
        EXPECT_TRUE(dsp::RunChild(cloner, context));
    }
    EXPECT_EQ(counter.Count(), 0U);
}

} // namespace
} // namespace Velmora::engine
