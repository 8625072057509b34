// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/slot/ModuleVariant.h"

#include "rigs/OscillatorRig.h"
#include "rigs/ProbeModule.h"
#include "rigs/StageRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
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

/// Three types, which add 1, 2 and 3 to their audio and have 1, 2 and 3 further inputs.
struct Slot final : ModuleVariant<2, 2, ProbeModule<1, 3>, ProbeModule<1, 4>, ProbeModule<1, 5>> {
    explicit Slot(Journal* calls)
        : ModuleVariant("Slot", {}, std::make_tuple("A", calls), std::make_tuple("B", calls),
                        std::make_tuple("C", calls)) {
        Child<0>().offset = 1.0F;
        Child<1>().offset = 2.0F;
        Child<2>().offset = 3.0F;
        for (const Additional on : {CopyOnBypass, CrossfadeOnBypass, FadeOnModuleChange}) {
            SetAdditionalValue(on, 1.0F);
        }
        Initialize(rate, block);
    }
    void Set(Additional index, float value) { SetParameterValue(ParameterId(index), value); }
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

} // namespace

TEST(ModuleVariantTest, ChangesAndBypassesGoTheirWayWithoutAStep) {
    const std::map<std::string, Slot::Additional> switches = {{"type", Slot::ModuleType},
                                                              {"bypass", Slot::Bypass},
                                                              {"cross", Slot::CrossfadeOnBypass},
                                                              {"copy", Slot::CopyOnBypass},
                                                              {"fade", Slot::FadeOnModuleChange}};
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
            slot.Set(switches.at(what), value);
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
