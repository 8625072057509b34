// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ModuleParam.h"

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

/// A modulation input of eight frames behind its activity mark.
struct ModulationInput {
    ModulationInput(float mark, const std::array<float, 8>& samples) {
        buffer[3] = mark;
        std::copy(samples.begin(), samples.end(), buffer + 4);
        context.inputs = inputs;
        context.numInputs = 2;
        context.numFrames = 8;
    }
    /// Renders input 1; the frames behind the block stay as they were.
    std::array<float, 8> Render(ModuleParam& param) const {
        std::array<float, 12> out;
        out.fill(99.0F);
        param.RenderModulated(context, 1, out.data());
        for (std::size_t n = 8; n < out.size(); ++n) {
            EXPECT_EQ(out[n], 99.0F) << "written behind the block at " << n;
        }
        return {out[0], out[1], out[2], out[3], out[4], out[5], out[6], out[7]};
    }

    ProcessContext context;
    alignas(16) float buffer[12] = {};
    const float* inputs[2] = {nullptr, buffer + 4};
};

struct Knob {
    i32 id;
    float low; // declared range
    float high;
    float shape;
    double atZero; // real values at both ends of the way
    double atOne;
};

// Every curve that runs both ways, upwards and downwards, with the real values that its ends must give.
const std::vector<Knob>& Knobs() {
    static const std::vector<Knob> knobs = {
        {1, -12.0F, 30.0F, 0.0F, -12, 30},
        {1, 5.0F, -3.0F, 0.0F, 5, -3},
        {2, 20.0F, 20000.0F, 3.0F, 20, 20e3},
        {2, 0.0F, 1.0F, 0.3F, 0, 1},
        {3, 1.0F, 3.0F, 2.5F, 1, 3},
        {4, 0.01F, 4.0F, 7.0F, 0.01, 4},
        {4, 8.0F, 2.0F, -3.0F, 8, 2},
        {5, -1.0F, 1.0F, 2.0F, -1, 1},
        {6, -24.0F, 24.0F, 2.0F, -24, 24},
        {7, 0.0F, 100.0F, 2.0F, 0, 100},
        {8, 0.001F, 10.0F, 0.0F, 0.001, 10},
        {9, 0.0F, 20.0F, 0.0F, 0, 20},
        {10, -60.0F, 6.0F, 0.0F, -60, 6},
        {12, 3.0F, 5.0F, 16.0F, 0.0625, 16},
        {13, 10.0F, 20.0F, 0.0F, 20, 10},
        {14, 0.0F, 1.0F, 0.1F, 0, 1},
        {16, 2.0F, 9.0F, 110.0F, 110, 110 * std::exp2(-0.5 / 12)},
    };
    return knobs;
}

ModuleParam Declare(const Knob& knob) {
    return ModuleParam::Mapped("Knob", knob.id, knob.low, knob.high, knob.shape);
}

std::string Describe(const Knob& knob) {
    return "id " + std::to_string(knob.id) + " from " + std::to_string(knob.low) + " to " +
           std::to_string(knob.high);
}

TEST(ModuleParamTest, SteppedParametersDivideTheWayEvenlyAndConvertBackToEveryStep) {
    for (const float width : {1.0F, 2.5F, -1.0F, -0.25F}) {
        for (u32 count = 2; count <= 27; ++count) {
            ModuleParam param = ModuleParam::Stepped("Mode", count, -4.0F, width);
            const float top = -4.0F + static_cast<float>(count - 1) * std::abs(width);
            EXPECT_EQ(param.maxValue, top);
            EXPECT_EQ(param.GetNormalized(), 0.0F);
            EXPECT_EQ(param.GetValue(), -4.0F);
            for (u32 i = 0; i < count; ++i) {
                const float index = static_cast<float>(i);
                const float expected = (width > 0.0F ? -4.0F : top) + index * width;
                const std::string what = "step " + std::to_string(i) + " of " + std::to_string(count) +
                                         " by " + std::to_string(width);
                EXPECT_EQ(param.ToValue((index + 0.5F) / static_cast<float>(count)), expected) << what;
                param.SetValue(expected);
                const float position = param.GetNormalized();
                EXPECT_FLOAT_EQ(position, index / static_cast<float>(count - 1)) << what;
                EXPECT_EQ(param.ToValue(position), expected) << what << ", there and back";
            }
            EXPECT_EQ(param.ToValue(7.0F), width > 0.0F ? top : -4.0F) << "the last step is held";
            EXPECT_EQ(param.ToValue(-0.01F), width > 0.0F ? -4.0F - width : top - width)
                << "the first is not";
        }
    }
}

TEST(ModuleParamTest, CurvesReachBothEndsOfTheirRangeAndConvertBack) {
    for (const Knob& knob : Knobs()) {
        ModuleParam param = Declare(knob);
        EXPECT_EQ(param.GetValue(), knob.low) << Describe(knob) << " starts at its minimum";
        const double span = std::abs(knob.atOne - knob.atZero);
        EXPECT_NEAR(param.ToValue(0.0F), knob.atZero, 1e-6 * span) << Describe(knob);
        EXPECT_NEAR(param.ToValue(1.0F), knob.atOne, 1e-5 * span) << Describe(knob);
        for (int i = 0; i <= 32; ++i) {
            const float x = static_cast<float>(i) / 32.0F;
            param.SetNormalized(x);
            param.SetValue(param.GetValue());
            // The steepest curve here loses eleven bits of the position.
            EXPECT_NEAR(param.GetNormalized(), x, 3e-4F) << Describe(knob);
        }
    }
}

TEST(ModuleParamTest, RealValuesOutsideTheRangeMeanItsEndsButAreStoredAsGiven) {
    ModuleParam falling = ModuleParam::Mapped("Falling", 1, 5.0F, -3.0F, 0.0F);
    EXPECT_EQ(falling.ToNormalized(9.0F), 0.0F);
    EXPECT_EQ(falling.ToNormalized(-9.0F), 1.0F);
    EXPECT_EQ(ModuleParam::Mapped("Point", 1, 2.0F, 2.0F, 0.0F).ToNormalized(7.0F), 0.0F);
    EXPECT_EQ(ModuleParam::Mapped("Ratio", 12, 0.0F, 1.0F, 4.0F).ToNormalized(9.0F), 1.0F);
    falling.SetValue(100.0F);
    EXPECT_EQ(falling.GetValue(), 100.0F);
}

TEST(ModuleParamTest, InvertedTurnsTheBlockFormAndTheWayBackButNotThePlainConversion) {
    const ModulationInput still(1.0F, {});
    for (const Knob& knob : Knobs()) {
        ModuleParam plain = Declare(knob);
        ModuleParam inverted = plain;
        inverted.inverted = true;
        for (const float x : {0.0F, 0.25F, 0.625F, 1.0F}) {
            const float real = plain.ToValue(x);
            EXPECT_EQ(inverted.ToValue(x), real) << Describe(knob);
            EXPECT_NEAR(inverted.ToNormalized(real), 1.0F - plain.ToNormalized(real), 1e-6F)
                << Describe(knob);
            inverted.SetNormalized(x);
            plain.SetNormalized(1.0F - x);
            EXPECT_EQ(still.Render(inverted), still.Render(plain)) << Describe(knob) << " at " << x;
        }
    }
}

TEST(ModuleParamTest, TheBlockFormIsTheScalarFormSampleBySample) {
    std::vector<ModuleParam> params = {ModuleParam("Raw"), ModuleParam::Stepped("Up", 5, 1.0F, 2.0F),
                                       ModuleParam::Stepped("Down", 5, 1.0F, -2.0F)};
    for (const Knob& knob : Knobs()) {
        params.push_back(Declare(knob));
    }
    const std::array<float, 8> offsets = {0.0F, 0.1F, -0.25F, 0.5F, -0.45F, notANumber, 2.0F, -2.0F};
    const ModulationInput input(-0.5F, offsets);
    for (ModuleParam& param : params) {
        param.SetNormalized(0.45F);
        const auto block = input.Render(param);
        const float span = std::abs(param.ToValue(1.0F) - param.ToValue(0.0F));
        for (std::size_t n = 0; n < offsets.size(); ++n) {
            EXPECT_NEAR(block[n], param.GetValueWithOffset(offsets[n]), 1e-6F * span)
                << "kind " << param.kind << ", offset " << offsets[n];
        }
        EXPECT_EQ(block[6], param.ToValue(1.0F)) << "kind " << param.kind;
        EXPECT_EQ(block[7], param.ToValue(0.0F)) << "kind " << param.kind;
        EXPECT_EQ(block[5], block[7]) << "what is not a number counts as the start, kind " << param.kind;
        EXPECT_EQ(param.GetModulatedValue(input.context, 1), param.GetValueWithOffset(offsets[0]));
        EXPECT_EQ(param.GetNormalized(), 0.45F) << "modulation is not stored";
    }
}

TEST(ModuleParamTest, WithoutActiveModulationTheBlockIsThePlainValue) {
    const ModulationInput silent(0.0F, {0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 0.3F});
    ModuleParam param = ModuleParam::Mapped("Level", 1, 0.0F, 10.0F, 0.0F);
    param.SetNormalized(1.5F);                 // beyond the end: only modulated values are bounded
    for (const u32 input : {1U, 0U, 2U, 7U}) { // not active, a null pointer, and beyond the inputs
        std::array<float, 8> out{};
        param.RenderModulated(silent.context, input, out.data());
        EXPECT_EQ(std::count(out.begin(), out.end(), 15.0F), 8) << "input " << input;
        EXPECT_EQ(param.GetModulatedValue(silent.context, input), 15.0F) << "input " << input;
    }
}

TEST(ModuleParamTest, ACopyHasACurveOfItsOwnAndOutlivesTheOriginal) {
    auto original = std::make_unique<ModuleParam>(ModuleParam::Mapped("Cutoff", 2, 20.0F, 20000.0F, 3.0F));
    original->inverted = true;
    original->SetNormalized(0.5F);
    ModuleParam copied(*original);
    ModuleParam assigned;
    assigned = *original;
    ModuleParam source = *original;
    ModuleParam moved;
    moved = std::move(source);
    std::vector<ModuleParam> grown(1, *original);
    for (int i = 0; i < 20; ++i) {
        grown.emplace_back("Filler");
    }
    const float expected = original->ToValue(0.5F);
    original.reset();
    for (ModuleParam* param : {&copied, &assigned, &moved, grown.data()}) {
        EXPECT_EQ(param->mapping, MappingTools::ActiveMapping(param->mappingStorage));
        EXPECT_EQ(param->GetValue(), expected);
        EXPECT_EQ(param->name, "Cutoff");
        EXPECT_TRUE(param->inverted);
    }
}

TEST(ModuleParamTest, DeclaringAnewReplacesAllButTheNameOrIsRefused) {
    ModuleParam param = ModuleParam::Stepped("Type", 6, 2.0F, -1.0F);
    param.SetNormalized(0.8F);
    param.Redeclare(7, -1.0F, 3.0F, 2.0F, 0.25F, true);
    EXPECT_EQ(param.name, "Type");
    EXPECT_EQ(param.GetNormalized(), 0.0F);
    EXPECT_EQ(param.GetValue(), -1.0F);
    EXPECT_NEAR(param.ToNormalized(3.0F), 0.0F, 1e-6F);
    EXPECT_THROW(param.Redeclare(ModuleParam::steppedKind, 0.0F, 1.0F, 0.0F, 0.0F, false), CException);
    EXPECT_THROW(ModuleParam::Mapped("None", 17, 0.0F, 1.0F, 0.0F), CException);
    EXPECT_NEAR(param.ToValue(0.25F), 0.0F, 1e-6F) << "a refused declaration changes nothing";
    param.Redeclare(12, 1.0F, 2.0F, 4.0F, 0.0F, false);
    EXPECT_EQ(param.ToValue(1.0F), 4.0F) << "final values are not scaled";
}

} // namespace
} // namespace Velmora::dsp
