// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/slot/WithDryWet.h"

#include "rigs/ProbeModule.h"
#include "rigs/StageRig.h"

#include <gtest/gtest.h>

namespace {

using namespace Velmora::Test;
using Velmora::u32;
using Wet = Velmora::dsp::WithDryWet<ProbeModule<2, 4>, 0, 2, 0>;

constexpr u32 block = 44;

/// Adds 1 to what it hears.
struct Unit {
    Wet module{"Box"};
    Unit() {
        module.Inner().offset = 1.0F;
        module.Initialize(44100.0F, block);
    }
    /// Input 2 modulates; the others hold 0.25.
    Signals Play(u32 frames, float modulation) {
        Signals inputs(5, Signal(frames, 0.25F));
        inputs[2].assign(frames, modulation);
        return Render(module, inputs, 2, {block});
    }
    void Set(float value) { module.SetParameterValue(Wet::dryWetId, value); }
};

} // namespace

TEST(WithDryWetTest, MixesFromTheInputToTheModuleAndGlides) {
    Unit unit;
    EXPECT_EQ(unit.Play(block, 0.0F), Signals(2, Signal(block, 1.25F)));
    unit.Set(0.0F);
    const Signals fading = unit.Play(20 * block, 0.0F);
    float before = 1.25F;
    for (const float x : fading[1]) {
        ASSERT_LE(x, before);
        // The steepest part of a glide of 10 ms.
        ASSERT_GE(x, before - 0.012F);
        before = x;
    }
    EXPECT_NEAR(fading[1][440], 0.25F, 0.01F) << "within 10 ms";
    EXPECT_EQ(unit.Play(block * 20, 0.0F)[0].back(), 0.25F);
    unit.Set(0.5F);
    EXPECT_NEAR(unit.Play(20 * block, 0.25F)[0].back(), 1.0F, 1e-4F) << "the modulation adds to the knob";
    EXPECT_NEAR(unit.Play(20 * block, -7.0F)[0].back(), 0.25F, 1e-4F);
    unit.module.Reset(true);
    EXPECT_EQ(unit.Play(block, 0.5F), Signals(2, Signal(block, 1.25F))) << "a reset arrives at once";
    EXPECT_EQ(NameOf(unit.module, 1), "Box_P1");
    EXPECT_EQ(NameOf(unit.module, Wet::dryWetId), "Box_DryWet");
}

TEST(WithDryWetTest, HandsAllOtherInputsOn) {
    Unit unit;
    Signals signals(5, Signal(block, 0.0F));
    signals[3].assign(block, 0.4F);
    signals[4].assign(block, 0.5F);
    // The probe gives its input n as output n.
    const Signals outputs = Render(unit.module, signals, 4, {block});
    EXPECT_EQ(outputs[2], Signal(block, 1.4F));
    EXPECT_EQ(outputs[3], Signal(block, 1.5F));
}
