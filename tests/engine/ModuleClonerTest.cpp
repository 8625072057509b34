// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ModuleCloner.h"

#include "support/ProbeModule.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <numeric>
#include <vector>

namespace Velmora::engine {
namespace {

constexpr u32 cloneCount = 3;
using Frame = std::array<float, 10>;

/// A clone of two channels; its first parameter starts off its minimum, its last has another curve.
class Voice : public Velmora::Test::ProbeModule<3, 2> {
public:
    Voice() : ProbeModule("Voice") {
        parameters[0].SetValue(4.0F);
        parameters[2] = dsp::ModuleParam::Mapped("Tune", 2, 1.0F, 9.0F, 3.0F);
    }
};

std::vector<dsp::ModuleParam> OwnRecord() {
    return std::vector(1, dsp::ModuleParam::Mapped("Spread", 1, 0.0F, 2.0F, 0.0F));
}

template <u32 IsGrouped>
class Bank : public ModuleCloner<Voice, cloneCount, IsGrouped, 1> {
public:
    Bank() : ModuleCloner<Voice, cloneCount, IsGrouped, 1>("Bank", OwnRecord()) {
        for (u32 i = 0; i < cloneCount; ++i) {
            this->Clone(i).offset = 100.0F * static_cast<float>(i + 1);
        }
    }
};
using Plain = Bank<0>;
using Grouped = Bank<1>;

/// Ten channels of a frame; input c holds the number c + 1, the outputs -1.
struct Buffers {
    Buffers() {
        std::iota(in.begin(), in.end(), 1.0F);
        out.fill(-1.0F);
        for (std::size_t c = 0; c < 10; ++c) {
            inputs[c] = &in[c];
            outputs[c] = &out[c];
        }
    }
    dsp::ProcessContext Context(u32 numInputs, u32 numOutputs) const {
        dsp::ProcessContext context = dsp::ProcessContext().ForChild(inputs, numInputs, outputs, numOutputs);
        context.numFrames = 1;
        return context;
    }
    Frame in;
    Frame out;
    const float* inputs[10];
    float* outputs[10];
};

constexpr Frame untouched = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
constexpr Frame byAllClones = {101, 102, 203, 204, 305, 306, -1, -1, -1, -1};
constexpr Frame byTheFirst = {-1, -1, -1, -1, -1, -1, 107, 108, -1, -1};

/// What the frame is after a run with each possible number of channels.
template <class Cloner>
void ExpectFrame(Cloner& cloner, const std::function<Frame(u32 numInputs, u32 numOutputs)>& expected) {
    for (u32 numInputs = 0; numInputs <= 10; ++numInputs) {
        for (u32 numOutputs = 0; numOutputs <= 10; ++numOutputs) {
            const Buffers buffers;
            dsp::ProcessContext context = buffers.Context(numInputs, numOutputs);
            const Frame wanted = expected(numInputs, numOutputs);
            EXPECT_EQ(cloner.Process(context), wanted != untouched) << numInputs << " in, " << numOutputs;
            EXPECT_EQ(buffers.out, wanted) << numInputs << " in, " << numOutputs << " out";
        }
    }
}

TEST(ModuleClonerTest, EveryCloneRendersItsOwnChannelsIfTheirTotalFits) {
    Plain cloner;
    ExpectFrame(cloner, [](u32 in, u32 out) { return in == 6 && out == 6 ? byAllClones : untouched; });
}

TEST(ModuleClonerTest, InGroupModeCloneZeroAloneRendersTheLastGroupAndOutOfItTheOthersAreRendered) {
    Grouped cloner;
    ExpectFrame(cloner, [](u32 /*in*/, u32 out) { return out == 8 ? byTheFirst : untouched; });
    cloner.runsAllClones = true;
    ExpectFrame(cloner, [](u32 in, u32 out) { return in == 8 && out == 8 ? byAllClones : untouched; });
}

TEST(ModuleClonerTest, OneCloneThatFailsOrDeclinesFailsTheWholeButStopsNoOther) {
    for (const bool declines : {true, false}) {
        Plain cloner;
        cloner.Initialize(48000.0F, 4);
        const Buffers buffers;
        (declines ? cloner.Clone(1).agrees : cloner.Clone(1).succeeds) = false;
        dsp::ProcessContext context = buffers.Context(6, 6);
        EXPECT_FALSE(cloner.Process(context));
        EXPECT_EQ(buffers.out[0], 101.0F);
        EXPECT_EQ(buffers.out[2], declines ? -1.0F : 203.0F);
        EXPECT_EQ(buffers.out[4], 305.0F);
        EXPECT_FALSE(cloner.Clone(2).anyParameterChanged) << "marks are cleared as by any parent";
    }
}

TEST(ModuleClonerTest, ParametersGoToEveryCloneAndAreReadFromTheClonersOwnRecords) {
    Plain cloner;
    EXPECT_EQ(cloner.GetParameterNormalized(0), 0.4F) << "the start value is that of the module";
    EXPECT_TRUE(cloner.SetParameterNormalized(3, 0.25F)) << "its own, which concerns no clone";
    EXPECT_EQ(cloner.FindParameter(3)->GetValue(), 0.5F);
    EXPECT_FALSE(cloner.Clone(0).anyParameterChanged);
    EXPECT_TRUE(cloner.SetParameterNormalized(1, 0.5F));
    EXPECT_TRUE(cloner.SetParameterValue(2, 2.0F));
    for (u32 i = 0; i < cloneCount; ++i) {
        EXPECT_EQ(cloner.Clone(i).Value(1), 5.0F);
        EXPECT_EQ(cloner.Clone(i).Value(2), 2.0F);
        EXPECT_TRUE(cloner.Clone(i).Changed(1));
        EXPECT_FALSE(cloner.Clone(i).Changed(0));
    }
    EXPECT_NEAR(cloner.GetParameterNormalized(2), 0.5F, 1e-6F) << "the curve is that of the module";
    cloner.Clone(0).SetParameterNormalized(1, 0.9F);
    EXPECT_EQ(cloner.GetParameterNormalized(1), 0.5F) << "a clone set by itself does not show";
    for (const u32 id : {4U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(cloner.SetParameterNormalized(id, 0.5F) || cloner.SetParameterValue(id, 0.5F)) << id;
        EXPECT_EQ(cloner.GetParameterNormalized(id), 0.0F) << id;
        EXPECT_EQ(Velmora::Test::NameOf(cloner, id), "") << id;
        EXPECT_EQ(cloner.FindParameter(id), nullptr) << id;
    }
}

} // namespace
} // namespace Velmora::engine
