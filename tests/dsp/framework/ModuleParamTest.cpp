// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ParameterDeclaration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Velmora::dsp {
namespace {

struct Knob {
    ModuleParam param;
    float start;
    double atZero; // real values at both ends of the way, and in its middle
    double half;
    double atOne;

    bool IsCurve() const {
        return param.kind != ModuleParam::rawKind && param.kind != ModuleParam::steppedKind;
    }
};

/// One of each kind: rising, falling, curved, with final values of its own, raw, and in steps.
std::vector<Knob> Knobs() {
    return {{Declare::Linear("Linear", -12.0F, 30.0F).Record(), -12, -12, 9, 30},
            {Declare::Linear("Falling", 5.0F, -3.0F, 1.0F).Record(), 1, 5, 1, -3},
            {Declare::Exponential("Curved", 0.01F, 4.0F, 7.0F, 2.0F).Record(), 2, 0.01,
             0.01 + 3.99 / (std::exp(3.5) + 1.0), 4},
            {Declare::Logarithmic("Hz", 20.0F, 2000.0F, 200.0F).Record(), 200, 20, 200, 2000},
            {ModuleParam::Mapped("Ratio", Curve::Harmonic, 3.0F, 5.0F, 16.0F), 3, 1.0 / 16, 1, 16},
            {Declare::Raw("Raw", 0.25F).Record(), 0.25, 0, 0.5, 1},
            {Declare::Choice("Mode", 3, 2.0F).Record(), 2, 0, 1, 2},
            {Declare::Switch("On", true).Record(), 1, 0, 1, 1},
            {Declare::Steps("Up", 5, -4.0F, 2.5F, 1.0F).Record(), 1, -4, 1, 6},
            {Declare::Steps("Down", 27, 1.0F, -0.25F, 3.0F).Record(), 3, 7.5, 4.25, 1}};
}

TEST(ModuleParamTest, EveryKindStartsAsDeclaredReachesItsEndsAndConvertsThereAndBack) {
    for (Knob& knob : Knobs()) {
        ModuleParam& param = knob.param;
        SCOPED_TRACE(param.name);
        EXPECT_EQ(param.GetValue(), knob.start);
        const double span = std::abs(knob.atOne - knob.atZero);
        EXPECT_NEAR(param.ToValue(0.0F), knob.atZero, 1e-6 * span);
        EXPECT_NEAR(param.ToValue(0.5F), knob.half, 1e-5 * span);
        EXPECT_NEAR(param.ToValue(1.0F), knob.atOne, 1e-5 * span);
        for (const float position : {0.0F, 0.3F, 1.0F}) {
            const float value = param.ToValue(position);
            param.SetValue(value);
            param.SetNormalized(param.GetNormalized());
            EXPECT_NEAR(param.PeekValue(), value, 1e-5 * span);
            EXPECT_EQ(param.GetValue(), param.PeekValue());
        }
        if (param.kind == ModuleParam::steppedKind) {
            for (float step = 0.0F; step < param.stepCount; ++step) {
                const float value = (param.step < 0.0F ? param.maxValue : param.minValue) + step * param.step;
                EXPECT_EQ(param.ToValue((step + 0.01F) / param.stepCount), value);
                EXPECT_EQ(param.ToValue((step + 0.99F) / param.stepCount), value);
            }
            EXPECT_EQ(param.ToValue(7.0F), knob.atOne) << "the last step is held";
        }
        param.SetValue(1e9F);
        EXPECT_EQ(param.GetValue(), 1e9F) << "stored as given";
        if (knob.IsCurve() && !param.mappingIsAbsolute) {
            EXPECT_EQ(param.GetNormalized(), knob.atOne > knob.atZero ? 1.0F : 0.0F) << "but means the end";
        }
    }
    EXPECT_EQ(Declare::Linear("Point", 2.0F, 2.0F).Record().ToNormalized(7.0F), 0.0F);
}

TEST(ModuleParamTest, ModulationMovesThePositionWithinTheWayAndIsNotStored) {
    alignas(16) float buffer[12] = {0, 0, 0, 0, 0, 0.1F, -0.25F, 0.5F, -0.45F, std::nanf(""), 2, -2};
    const float* inputs[2] = {nullptr, buffer + 4};
    ProcessContext context;
    context.inputs = inputs;
    context.numInputs = 2;
    context.numFrames = 8;
    for (Knob& knob : Knobs()) {
        ModuleParam& param = knob.param;
        SCOPED_TRACE(param.name);
        const float tolerance = 1e-6F * static_cast<float>(std::abs(knob.atOne - knob.atZero));
        for (const bool inverted : {false, true}) {
            param.inverted = inverted;
            param.SetNormalized(0.45F);
            float out[8];
            buffer[3] = -0.5F; // any mark but 0 makes it active
            param.RenderModulated(context, 1, out);
            for (std::size_t n = 0; n < 8; ++n) {
                const float offset = buffer[4 + n];
                const float position = std::isnan(offset) ? 0.0F : std::clamp(0.45F + offset, 0.0F, 1.0F);
                EXPECT_NEAR(param.GetValueWithOffset(offset), param.ToValue(position), tolerance) << n;
                // Only the block form and the acting value run backwards.
                const float turned = inverted && knob.IsCurve() ? 1.0F - position : position;
                EXPECT_NEAR(out[n], param.ToValue(turned), tolerance) << n;
            }
            EXPECT_EQ(param.GetModulatedValue(context, 1), param.ToValue(0.45F));
            EXPECT_EQ(param.GetActingValue(context, 1), param.ToValue(inverted ? 0.55F : 0.45F));
            buffer[3] = 0.0F;
            for (const u32 input : {1U, 0U, 2U}) { // not active, a null pointer, and beyond the inputs
                param.RenderModulated(context, input, out);
                EXPECT_EQ(std::count(out, out + 8, param.GetValue()), 8) << input;
                EXPECT_EQ(param.GetModulatedValue(context, input), param.GetValue()) << input;
            }
            if (knob.IsCurve()) {
                EXPECT_NEAR(param.ToNormalized(param.ToValue(0.25F)), inverted ? 0.75F : 0.25F, 1e-4F);
            }
        }
    }
}

} // namespace
} // namespace Velmora::dsp
