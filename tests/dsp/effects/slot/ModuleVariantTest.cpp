// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/slot/ModuleVariant.h"

#include "dsp/effects/slot/BypassedModule.h"
#include "dsp/effects/slot/IOSubset.h"
#include "rigs/OscillatorRig.h"
#include "rigs/ProbeModule.h"
#include "rigs/StageRig.h"
#include "support/NonBlocking.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

namespace {

using namespace Velmora::dsp;
using namespace Velmora::Test;
using Velmora::u32;
using Journal = std::vector<std::string>;

constexpr u32 rate = 8000;
constexpr u32 block = 40;
constexpr u32 changeFrames = rate / 40;
constexpr u32 bypassFrames = rate / 20;

/// A leaf of any number of inputs that also writes down which it was given.
template <u32 Channels>
struct Spy : ProbeModule<1, Channels> {
    using ProbeModule<1, Channels>::ProbeModule;
    bool Process(ProcessContext& context) override {
        const Velmora::MayBlock exception;
        seen.assign(context.inputs, context.inputs + context.numInputs);
        return ProbeModule<1, Channels>::Process(context);
    }
    std::vector<const float*> seen;
};

/// Three types, which add 1, 2 and 3 to their audio and have 1, 2 and 3 further inputs.
struct Slot final : ModuleVariant<2, 2, Spy<3>, Spy<4>, Spy<5>> {
    explicit Slot(Journal* calls = nullptr)
        : ModuleVariant("Slot", {}, std::make_tuple("A", calls), std::make_tuple("B", calls),
                        std::make_tuple("C", calls)) {
        Child<0>().offset = 1.0F;
        Child<1>().offset = 2.0F;
        Child<2>().offset = 3.0F;
        for (const Additional on : {CopyOnBypass, CrossfadeOnBypass, FadeOnModuleChange}) {
            SetAdditionalValue(on, 1.0F);
        }
        Initialize(rate, block);
        if (calls != nullptr) {
            calls->clear();
        }
    }
    void Set(Additional index, float value) { SetParameterValue(ParameterId(index), value); }
    template <u32 Index>
    auto& Unit() {
        return Child<Index>();
    }
};

/// Both channels over a steady input. Outputs start as garbage.
Signal Play(Slot& slot, u32 frames, float level = 0.0F) {
    const Signal input(block, level);
    Signals outputs(2, Signal(frames, 777.0F));
    std::vector<const float*> inputs(slot.numInputs, nullptr);
    inputs[0] = inputs[1] = input.data();
    for (u32 n = 0; n < frames; n += block) {
        orphia::test::RunInPlace(slot, inputs, {&outputs[0][n], &outputs[1][n]}, std::min(block, frames - n));
    }
    EXPECT_EQ(outputs[0], outputs[1]);
    return outputs[0];
}

float LargestStep(const Signal& signal, float before) {
    float largest = 0.0F;
    for (const float x : signal) {
        largest = std::max(largest, std::abs(x - before));
        before = x;
    }
    return largest;
}

bool Contains(const Journal& journal, const std::string& call) {
    return std::find(journal.begin(), journal.end(), call) != journal.end();
}

constexpr float changeStep = 1.0F / changeFrames;
constexpr float bypassStep = 1.0F / bypassFrames;

} // namespace

TEST(ModuleVariantTest, EachTypeReceivesTheAudioAndItsOwnPartOfTheInputs) {
    Slot slot;
    ASSERT_EQ(slot.numInputs, 8U);
    const std::vector<Signal> signals(8, Signal(block, 0.5F));
    std::vector<const float*> inputs;
    for (const Signal& signal : signals) {
        inputs.push_back(signal.data());
    }
    Signals outputs(2, Signal(block));
    const auto run = [&](float type) {
        slot.Set(Slot::ModuleType, type);
        slot.Reset(true);
        orphia::test::RunInPlace(slot, inputs, {outputs[0].data(), outputs[1].data()}, block);
        return outputs[1][0];
    };
    const auto part = [&](u32 from, u32 count) {
        std::vector<const float*> wanted = {inputs[0], inputs[1]};
        wanted.insert(wanted.end(), inputs.begin() + from, inputs.begin() + from + count);
        return wanted;
    };
    EXPECT_EQ(run(0.0F), 1.5F);
    EXPECT_EQ(run(1.0F), 2.5F);
    EXPECT_EQ(run(2.0F), 3.5F);
    EXPECT_EQ(slot.Unit<0>().seen, part(2, 1));
    EXPECT_EQ(slot.Unit<1>().seen, part(3, 2));
    EXPECT_EQ(slot.Unit<2>().seen, part(5, 3));
    for (const u32 count : {0U, 2U, 7U, 9U}) {
        inputs.resize(count, signals[0].data());
        outputs[0].assign(block, 42.0F);
        run(0.0F);
        EXPECT_EQ(outputs[0], Signal(block, 42.0F)) << count << " inputs";
    }
}

TEST(ModuleVariantTest, AChangeOfTypeFadesTheOldOneOutAndTheNewOneIn) {
    Journal calls;
    Slot slot(&calls);
    Play(slot, 2 * block);
    calls.clear();
    slot.Set(Slot::ModuleType, 2.0F);
    const Signal first = Play(slot, block);
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls[0], "C OnReset soft") << "before anything of this block sounds";
    const Signal old = Play(slot, changeFrames - block);
    EXPECT_FALSE(Contains(calls, "C Process"));
    EXPECT_NEAR(old.back(), 0.0F, 1e-6F);
    const Signal young = Play(slot, 2 * changeFrames);
    EXPECT_EQ(young.back(), 3.0F);
    EXPECT_LT(young[changeFrames - 2], 3.0F) << "the fade takes its whole time";
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "C OnReset soft"), 1);
    EXPECT_LE(LargestStep(first, 1.0F), 1.001F * changeStep);
    EXPECT_LE(LargestStep(old, first.back()), 1.001F * changeStep);
    EXPECT_LE(LargestStep(young, old.back()), 3.001F * changeStep);
}

TEST(ModuleVariantTest, OfTwoChangesInAFadeOnlyTheLastSounds) {
    Journal calls;
    Slot slot(&calls);
    Play(slot, block);
    slot.Set(Slot::ModuleType, 1.0F);
    const Signal start = Play(slot, changeFrames / 2 / block * block);
    slot.Set(Slot::ModuleType, 2.0F);
    const Signal rest = Play(slot, 3 * changeFrames);
    EXPECT_EQ(rest.back(), 3.0F);
    EXPECT_FALSE(Contains(calls, "B Process"));
    EXPECT_LE(LargestStep(rest, start.back()), 3.001F * changeStep);
    // Changed while the new one fades in: from where it is.
    slot.Set(Slot::ModuleType, 0.0F);
    Play(slot, changeFrames + 2 * block);
    slot.Set(Slot::ModuleType, 1.0F);
    const Signal back = Play(slot, 3 * changeFrames);
    EXPECT_LT(back.front(), 0.6F);
    EXPECT_EQ(back.back(), 2.0F);
}

TEST(ModuleVariantTest, WithoutTheFadeAChangeIsImmediateAndEndsAFadeThatRuns) {
    Slot slot;
    Play(slot, block);
    slot.Set(Slot::ModuleType, 1.0F);
    Play(slot, block);
    slot.Set(Slot::FadeOnModuleChange, 0.0F);
    EXPECT_EQ(Play(slot, block), Signal(block, 2.0F));
    slot.Set(Slot::ModuleType, 2.0F);
    EXPECT_EQ(slot.ActiveType(), 2U);
    EXPECT_EQ(Play(slot, block), Signal(block, 3.0F));
    slot.SetParameterNormalized(Slot::ParameterId(Slot::ModuleType), -5.0F);
    EXPECT_EQ(slot.ActiveType(), 0U);
    slot.SetParameterNormalized(Slot::ParameterId(Slot::ModuleType), 1e9F);
    EXPECT_EQ(slot.ActiveType(), 2U);
}

TEST(ModuleVariantTest, ABypassCrossfadesToTheInputAndThenNothingRuns) {
    Journal calls;
    Slot slot(&calls);
    Play(slot, block, 0.7F);
    slot.Set(Slot::Bypass, 1.0F);
    const Signal fading = Play(slot, bypassFrames, 0.7F);
    EXPECT_LE(LargestStep(fading, 1.7F), 1.01F * bypassStep);
    EXPECT_GT(fading[bypassFrames - 2], 0.7F);
    calls.clear();
    EXPECT_EQ(Play(slot, 3 * block, 0.7F), Signal(3 * block, 0.7F));
    EXPECT_TRUE(calls.empty()) << calls[0];

    slot.Set(Slot::Bypass, 0.0F);
    const Signal back = Play(slot, bypassFrames, 0.7F);
    EXPECT_EQ(calls[0], "A OnReset soft");
    EXPECT_LE(LargestStep(back, 0.7F), 1.01F * bypassStep);
    EXPECT_NEAR(back.back(), 1.7F, 1e-6F);
    EXPECT_EQ(Play(slot, block, 0.7F), Signal(block, 1.7F)) << "in full again";
}

TEST(ModuleVariantTest, WithoutTheCopyABypassIsSilentAndWithoutTheCrossfadeItIsACut) {
    Slot slot;
    slot.Set(Slot::CopyOnBypass, 0.0F);
    Play(slot, block, 0.7F);
    slot.Set(Slot::Bypass, 1.0F);
    EXPECT_LE(LargestStep(Play(slot, bypassFrames, 0.7F), 1.7F), 1.71F * bypassStep);
    EXPECT_EQ(Play(slot, block, 0.7F), Signal(block, 0.0F));
    slot.Set(Slot::Bypass, 0.0F);
    EXPECT_LE(LargestStep(Play(slot, bypassFrames, 0.7F), 0.0F), 1.71F * bypassStep);
    EXPECT_EQ(Play(slot, block, 0.7F), Signal(block, 1.7F));

    slot.Set(Slot::CopyOnBypass, 1.0F);
    slot.Set(Slot::Bypass, 1.0F);
    Play(slot, block);
    // Ends the crossfade that runs, too.
    slot.Set(Slot::CrossfadeOnBypass, 0.0F);
    EXPECT_EQ(Play(slot, block, 0.7F), Signal(block, 0.7F));
    slot.Set(Slot::Bypass, 0.0F);
    EXPECT_EQ(Play(slot, block, 0.7F), Signal(block, 1.7F));
    slot.Set(Slot::CopyOnBypass, 0.0F);
    slot.Set(Slot::Bypass, 1.0F);
    EXPECT_EQ(Play(slot, block, 0.7F), Signal(block, 0.0F));
}

TEST(ModuleVariantTest, ATypeChosenInABypassIsResetAtOnceAndAgainWhenItEnds) {
    Journal calls;
    Slot slot(&calls);
    slot.Set(Slot::Bypass, 1.0F);
    slot.Reset(true);
    EXPECT_EQ(Play(slot, block, 0.7F), Signal(block, 0.7F)) << "nothing to fade after a reset";
    calls.clear();
    slot.Set(Slot::ModuleType, 1.0F);
    Play(slot, 2 * block, 0.7F);
    EXPECT_EQ(calls, Journal({"B OnReset soft"}));
    slot.Set(Slot::Bypass, 0.0F);
    const Signal out = Play(slot, bypassFrames + 2 * changeFrames, 0.7F);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "B OnReset soft"), 2);
    EXPECT_NEAR(out.back(), 2.7F, 1e-6F);
    EXPECT_LE(LargestStep(out, 0.7F), 2.7F * (changeStep + bypassStep));
}

TEST(ModuleVariantTest, AFreshSlotStartsWithItsTypeAndNoFade) {
    Journal calls;
    Slot slot(&calls);
    slot.Set(Slot::ModuleType, 2.0F);
    slot.Initialize(rate, block);
    calls.clear();
    EXPECT_EQ(Play(slot, block), Signal(block, 3.0F));
    EXPECT_FALSE(Contains(calls, "C OnReset soft")) << "it has just been reset with the slot";
    slot.Set(Slot::ModuleType, 0.0F);
    Play(slot, block);
    slot.Reset(false);
    EXPECT_EQ(Play(slot, block), Signal(block, 1.0F)) << "a reset ends the fades";
}

TEST(IOSubsetTest, HidesTheOtherChannelsAndKeepsTheNames) {
    struct Copier : ProbeModule<1, 4> {
        using ProbeModule::ProbeModule;
        bool Process(ProcessContext& context) override {
            CopyChannel(context, 1);
            return context.numInputs == 3 && context.numOutputs == 4;
        }
    };
    IOSubset<Copier, 3, 2> subset("Unit");
    EXPECT_EQ(NameOf(subset, 0), "Unit_P0");
    subset.Initialize(rate, block);
    const Signals inputs(4, Signal(2 * block, 0.25F));
    EXPECT_EQ(Render(subset, {inputs[0], inputs[1], inputs[2]}, 2, {block, 12})[1], inputs[1]);
}

TEST(BypassedModuleTest, PassesTheInputToTheBitAlsoInPlaceAndTakesNullForSilence) {
    BypassedModule module;
    module.Initialize(rate, block);
    EXPECT_EQ(NameOf(module, 0), "BypassUselessParam");
    Signals sound = {Noise(block, 1.0F, 1), Noise(block, 1.0F, 2)};
    const Signals inputs = sound;
    orphia::test::RunInPlace(module, {sound[0].data(), sound[1].data()}, {sound[0].data(), sound[1].data()},
                             block);
    EXPECT_EQ(sound, inputs);
    orphia::test::RunInPlace(module, {inputs[1].data()}, {sound[0].data(), sound[1].data()}, block);
    EXPECT_EQ(sound, Signals({inputs[1], Signal(block, 0.0F)}));
}
