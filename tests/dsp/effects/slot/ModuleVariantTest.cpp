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
#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>
#include <utility>

namespace {

using namespace Velmora::dsp;
using namespace Velmora::Test;
using Velmora::u32;
using Journal = std::vector<std::string>;

constexpr u32 rate = 8000;
constexpr u32 block = 40;
constexpr u32 changeFrames = rate / 40;

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
Signal Play(Slot& slot, u32 frames) {
    const Signal input(block, 0.7F);
    Signals outputs(2, Signal(frames, 777.0F));
    std::vector<const float*> inputs(slot.numInputs, nullptr);
    inputs[0] = inputs[1] = input.data();
    for (u32 n = 0; n < frames; n += block) {
        orphia::test::RunInPlace(slot, inputs, {&outputs[0][n], &outputs[1][n]}, std::min(block, frames - n));
    }
    EXPECT_EQ(outputs[0], outputs[1]);
    return outputs[0];
}

void Move(Slot& slot, const std::string& what, float value) {
    for (const auto& [name, id] : {std::pair("type", Slot::ModuleType),
                                   {"bypass", Slot::Bypass},
                                   {"cross", Slot::CrossfadeOnBypass},
                                   {"copy", Slot::CopyOnBypass},
                                   {"fade", Slot::FadeOnModuleChange}}) {
        if (what == name) {
            slot.Set(id, value);
        }
    }
}

} // namespace

TEST(ModuleVariantTest, ChangesAndBypassesGoTheirWayWithoutAStep) {
    std::ifstream rows(std::filesystem::path(ORPHIA_EXAMPLES) / "../tests/dsp/effects/slot/switching.txt");
    std::string line;
    int count = 0;
    while (std::getline(rows, line)) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        std::istringstream row(line);
        std::string what;
        float value = 0.0F;
        Journal calls;
        Slot slot(&calls);
        Signal heard;
        Play(slot, block);
        calls.clear();
        while (row >> what && what != ";") {
            u32 blocks = 0;
            row >> value >> blocks;
            Move(slot, what, value);
            const Signal more = Play(slot, blocks * block);
            heard.insert(heard.end(), more.begin(), more.end());
        }
        float end = 0.0F;
        float mostStep = 0.0F;
        std::string resets;
        row >> end >> mostStep >> resets >> what;
        EXPECT_NEAR(heard.back(), end, 1e-6F) << line;
        for (float at = 0.0F; row >> at >> value;) {
            EXPECT_NEAR(heard[static_cast<std::size_t>(at * block) - 1], value, 0.001F) << line << ": " << at;
        }
        float step = 0.0F;
        float before = 1.7F;
        for (const float x : heard) {
            step = std::max(step, std::abs(x - std::exchange(before, x)));
        }
        EXPECT_LE(step, 1.001F * mostStep / changeFrames) << line;
        std::string happened;
        for (const std::string& call : calls) {
            happened += call.ends_with("OnReset soft") ? call.substr(0, 1) : "";
        }
        EXPECT_EQ(happened.empty() ? "none" : happened, resets) << line;
        calls.clear();
        EXPECT_EQ(Play(slot, block), Signal(block, heard.back())) << line;
        ++count;
        EXPECT_EQ(calls.empty(), end < 1.0F) << line << ": in a bypass nothing runs";
    }
    EXPECT_GT(count, 10);
}

TEST(ModuleVariantTest, EachTypeReceivesTheAudioAndItsOwnPartOfTheInputs) {
    Slot slot;
    const Signals signals(9, Signal(block, 0.5F));
    Signals outputs(2, Signal(block));
    const auto run = [&](u32 count, float type) {
        std::vector<const float*> inputs;
        for (u32 i = 0; i < count; ++i) {
            inputs.push_back(signals[i].data());
        }
        slot.Set(Slot::ModuleType, type);
        slot.Reset(true);
        outputs[1].assign(block, 42.0F);
        orphia::test::RunInPlace(slot, inputs, {outputs[0].data(), outputs[1].data()}, block);
        return outputs[1][0];
    };
    const auto expectPart = [&](const std::vector<const float*>& seen, const std::vector<u32>& part) {
        ASSERT_EQ(seen.size(), part.size());
        for (u32 i = 0; i < part.size(); ++i) {
            EXPECT_EQ(seen[i], signals[part[i]].data()) << i << " of " << part.size();
        }
    };
    for (const float type : {0.0F, 1.0F, 2.0F}) {
        EXPECT_EQ(run(8, type), 1.5F + type);
    }
    expectPart(slot.Unit<0>().seen, {0, 1, 2});
    expectPart(slot.Unit<1>().seen, {0, 1, 3, 4});
    expectPart(slot.Unit<2>().seen, {0, 1, 5, 6, 7});
    for (const u32 count : {0U, 2U, 7U, 9U}) {
        EXPECT_EQ(run(count, 0.0F), 42.0F) << count << " inputs";
    }
}

TEST(ModuleVariantTest, AFreshSlotStartsWithItsTypeAndNoFadeAndTakesTheNearestType) {
    Journal calls;
    Slot slot(&calls);
    slot.Set(Slot::ModuleType, 2.0F);
    slot.Initialize(rate, block);
    calls.clear();
    EXPECT_EQ(Play(slot, block), Signal(block, 3.7F));
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "C OnReset soft"), 0)
        << "it has been reset with the slot";
    slot.Set(Slot::ModuleType, 0.0F);
    slot.Set(Slot::Bypass, 1.0F);
    Play(slot, block);
    slot.Reset(false);
    EXPECT_EQ(Play(slot, block), Signal(block, 0.7F)) << "a reset ends the fades";
    slot.Set(Slot::FadeOnModuleChange, 0.0F);
    for (const auto& [position, type] : {std::pair(-5.0F, 0U), {1e9F, 2U}}) {
        slot.SetParameterNormalized(Slot::ParameterId(Slot::ModuleType), position);
        EXPECT_EQ(slot.ActiveType(), type);
    }
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
