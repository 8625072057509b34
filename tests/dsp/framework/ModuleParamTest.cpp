// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ParameterDeclaration.h"
#include "support/CException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

struct Knob {
    ModuleParam param;
    float start;
    double atZero; // real values at both ends of the way, and in its middle
    double half;
    double atOne;
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
        EXPECT_EQ(param.PeekValue(), knob.start);
        EXPECT_EQ(param.GetValue(), knob.start);
        const double span = std::abs(knob.atOne - knob.atZero);
        EXPECT_NEAR(param.ToValue(0.0F), knob.atZero, 1e-6 * span);
        EXPECT_NEAR(param.ToValue(0.5F), knob.half, 1e-5 * span);
        EXPECT_NEAR(param.ToValue(1.0F), knob.atOne, 1e-5 * span);
        for (int i = 0; i <= 32; ++i) {
            const float value = param.ToValue(static_cast<float>(i) / 32.0F);
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
                EXPECT_EQ(param.ToValue(param.ToNormalized(value)), value);
            }
            EXPECT_EQ(param.ToValue(7.0F), knob.atOne) << "the last step is held";
            EXPECT_EQ(param.ToValue(-0.001F), knob.atZero - static_cast<double>(param.step))
                << "the first is not";
        }
        param.SetValue(1e9F);
        EXPECT_EQ(param.GetValue(), 1e9F) << "stored as given";
        if (param.kind != ModuleParam::rawKind && param.kind != ModuleParam::steppedKind &&
            !param.mappingIsAbsolute) {
            EXPECT_EQ(param.GetNormalized(), knob.atOne > knob.atZero ? 1.0F : 0.0F) << "but means the end";
            EXPECT_EQ(param.ToNormalized(-1e9F), knob.atOne > knob.atZero ? 0.0F : 1.0F);
        }
    }
    EXPECT_EQ(Declare::Linear("Point", 2.0F, 2.0F).Record().ToNormalized(7.0F), 0.0F);
}

TEST(ModuleParamTest, ModulationMovesThePositionWithinTheWayAndIsNotStored) {
    const std::array<float, 8> offsets = {0.0F, 0.1F, -0.25F, 0.5F, -0.45F, notANumber, 2.0F, -2.0F};
    alignas(16) float buffer[12] = {};
    const float* inputs[2] = {nullptr, buffer + 4};
    ProcessContext context;
    context.inputs = inputs;
    context.numInputs = 2;
    context.numFrames = 8;
    for (Knob& knob : Knobs()) {
        ModuleParam& param = knob.param;
        SCOPED_TRACE(param.name);
        const float tolerance = 1e-6F * static_cast<float>(std::abs(knob.atOne - knob.atZero));
        const bool isCurve = param.kind != ModuleParam::rawKind && param.kind != ModuleParam::steppedKind;
        for (const bool inverted : {false, true}) {
            param.inverted = inverted;
            std::copy(offsets.begin(), offsets.end(), buffer + 4);
            param.SetNormalized(0.45F);
            float out[9] = {};
            out[8] = 99.0F;
            buffer[3] = -0.5F; // any mark but 0 makes it active
            param.RenderModulated(context, 1, out);
            for (std::size_t n = 0; n < 8; ++n) {
                const float position =
                    std::isnan(offsets[n]) ? 0.0F : std::clamp(0.45F + offsets[n], 0.0F, 1.0F);
                EXPECT_NEAR(param.GetValueWithOffset(offsets[n]), param.ToValue(position), tolerance) << n;
                // Only the block form and the acting value run backwards.
                EXPECT_NEAR(out[n], param.ToValue(inverted && isCurve ? 1.0F - position : position),
                            tolerance)
                    << n;
                buffer[4] = offsets[n];
                EXPECT_EQ(param.GetModulatedValue(context, 1), param.GetValueWithOffset(offsets[n]));
                EXPECT_EQ(param.GetActingValue(context, 1),
                          param.ToValue(inverted ? 1.0F - position : position));
            }
            EXPECT_EQ(out[8], 99.0F) << "written behind the block";
            EXPECT_EQ(param.GetNormalized(), 0.45F);
            buffer[3] = 0.0F;
            const float plain = param.GetValue();
            for (const u32 input : {1U, 0U, 2U, 7U}) { // not active, a null pointer, and beyond the inputs
                param.RenderModulated(context, input, out);
                EXPECT_EQ(std::count(out, out + 8, plain), 8) << input;
                EXPECT_EQ(param.GetModulatedValue(context, input), plain) << input;
            }
            if (isCurve) {
                EXPECT_NEAR(param.ToNormalized(param.ToValue(0.25F)), inverted ? 0.75F : 0.25F, 1e-4F);
            }
        }
    }
}

TEST(ModuleParamTest, ACopyHasACurveOfItsOwnAndARefusedDeclarationChangesNothing) {
    auto original =
        std::make_unique<ModuleParam>(ModuleParam::Mapped("Cutoff", Curve::Power, 20.0F, 20000.0F, 3.0F));
    original->inverted = true;
    original->SetNormalized(0.5F);
    ModuleParam copied(*original);
    ModuleParam assigned;
    assigned = *original;
    ModuleParam source = *original;
    ModuleParam moved;
    moved = std::move(source);
    std::vector<ModuleParam> grown(1, *original);
    grown.resize(20);
    const float expected = original->ToValue(0.5F);
    original.reset();
    for (ModuleParam* param : {&copied, &assigned, &moved, grown.data()}) {
        EXPECT_EQ(param->mapping, MappingTools::ActiveMapping(param->mappingStorage));
        EXPECT_EQ(param->GetValue(), expected);
        EXPECT_EQ(param->name, "Cutoff");
        EXPECT_TRUE(param->inverted);
        EXPECT_THROW(param->Redeclare(static_cast<Curve>(17), 0.0F, 1.0F, 0.0F), CException);
        EXPECT_EQ(param->ToValue(0.5F), expected);
        param->Redeclare(Curve::PowerAroundCentre, -1.0F, 3.0F, 2.0F, 0.25F, true);
        EXPECT_EQ(param->GetNormalized(), 0.0F);
        EXPECT_EQ(param->GetValue(), -1.0F);
        EXPECT_NEAR(param->ToNormalized(3.0F), 0.0F, 1e-6F);
        EXPECT_NEAR(param->ToValue(0.25F), 0.0F, 1e-6F);
    }
}

} // namespace
} // namespace Velmora::dsp
