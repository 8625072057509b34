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

} // namespace

/// A unit that adds 1 to what it hears; input 2 modulates.
TEST(WithDryWetTest, MixesFromTheInputToTheModuleGlidesAndHandsAllOtherInputsOn) {
    Wet module("Box");
    module.Inner().offset = 1.0F;
    module.Initialize(44100.0F, block);
    const auto play = [&](float mix, float modulation) {
        module.SetParameterValue(Wet::dryWetId, mix);
        Signals inputs(5, Signal(20 * block, 0.25F));
        inputs[2].assign(20 * block, modulation);
        return Render(module, inputs, 4, {block});
    };
    // The probe gives its input n as output n.
    EXPECT_EQ(play(1.0F, 0.0F), Signals(4, Signal(20 * block, 1.25F)));
    const Signal fading = play(0.0F, 0.0F)[1];
    float before = 1.25F;
    for (const float x : fading) {
        ASSERT_LE(x, before);
        // The steepest part of a glide of 10 ms.
        ASSERT_GE(x, before - 0.012F);
        before = x;
    }
    EXPECT_NEAR(fading[440], 0.25F, 0.01F) << "within 10 ms";
    EXPECT_EQ(play(0.0F, 0.0F)[0].back(), 0.25F);
    EXPECT_NEAR(play(0.5F, 0.25F)[0].back(), 1.0F, 1e-4F) << "the modulation adds to the knob";
    EXPECT_NEAR(play(0.5F, -7.0F)[0].back(), 0.25F, 1e-4F);
    module.Reset(true);
    EXPECT_EQ(play(0.5F, 0.5F)[1], Signal(20 * block, 1.25F)) << "a reset arrives at once";
    EXPECT_EQ(NameOf(module, Wet::dryWetId), "Box_DryWet");
}
