// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/ModuleParam.h"

#include "basictools/math/mapping/TablePotardMapping.h"
#include "support/CException.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

/// A modulation input of eight frames behind its activity mark.
class ModulationInput {
public:
    ModulationInput(float mark, const std::array<float, 8>& samples) {
        buffer[3] = mark;
        std::copy(samples.begin(), samples.end(), buffer + 4);
        context.inputs = inputs;
        context.numInputs = 2;
        context.numFrames = 8;
    }
    ModulationInput(const ModulationInput&) = delete;
    ModulationInput& operator=(const ModulationInput&) = delete;

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

private:
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
                param.SetNormalized((index + 0.5F) / static_cast<float>(count));
                EXPECT_EQ(param.GetValue(), expected) << what;
                param.SetValue(expected);
                const float position = param.GetNormalized();
                EXPECT_FLOAT_EQ(position, index / static_cast<float>(count - 1)) << what;
                param.SetNormalized(position);
                EXPECT_EQ(param.GetValue(), expected) << what << ", there and back";
            }
        }
    }
}

TEST(ModuleParamTest, SteppedParametersStopAtTheLastStepButNotBelowTheFirst) {
    ModuleParam up = ModuleParam::Stepped("Up", 3, 0.0F, 1.0F);
    ModuleParam down = ModuleParam::Stepped("Down", 3, 0.0F, -1.0F);
    const std::vector<std::array<float, 3>> cases = {
        {0.0F, 0.0F, 2.0F}, {0.33F, 0.0F, 2.0F}, {0.34F, 1.0F, 1.0F}, {0.5F, 1.0F, 1.0F},
        {1.0F, 2.0F, 0.0F}, {7.0F, 2.0F, 0.0F},  {-0.1F, -1.0F, 3.0F}};
    for (const auto& [position, expectedUp, expectedDown] : cases) {
        up.SetNormalized(position);
        down.SetNormalized(position);
        EXPECT_EQ(up.GetValue(), expectedUp) << "position " << position;
        EXPECT_EQ(down.GetValue(), expectedDown) << "position " << position;
    }
}

TEST(ModuleParamTest, CurvesReachBothEndsOfTheirRangeAndConvertBack) {
    for (const Knob& knob : Knobs()) {
        ModuleParam param = Declare(knob);
        EXPECT_EQ(param.GetValue(), knob.low) << Describe(knob) << " starts at its minimum";
        EXPECT_EQ(param.GetNormalized(), 0.0F);
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
    const ModuleParam power = ModuleParam::Mapped("Power", 2, 10.0F, -6.0F, 3.0F);
    EXPECT_NEAR(power.ToValue(0.5F), 8.0F, 1e-5F);
    const ModuleParam reciprocal = ModuleParam::Mapped("Reciprocal", 4, 0.0F, 1.0F, 2.0F);
    EXPECT_NEAR(reciprocal.ToValue(0.5F), 1.0 / (std::exp(1.0) + 1.0), 1e-6);
}

TEST(ModuleParamTest, RealValuesOutsideTheRangeMeanItsEndsButRawOnesStay) {
    ModuleParam falling = ModuleParam::Mapped("Falling", 1, 5.0F, -3.0F, 0.0F);
    EXPECT_EQ(falling.ToNormalized(9.0F), 0.0F);
    EXPECT_EQ(falling.ToNormalized(-9.0F), 1.0F);
    EXPECT_EQ(falling.ToNormalized(1.0F), 0.5F);
    const ModuleParam rising = ModuleParam::Mapped("Rising", 1, -3.0F, 5.0F, 0.0F);
    EXPECT_EQ(rising.ToNormalized(9.0F), 1.0F);
    EXPECT_EQ(rising.ToNormalized(-9.0F), 0.0F);
    EXPECT_EQ(ModuleParam::Mapped("Point", 1, 2.0F, 2.0F, 0.0F).ToNormalized(7.0F), 0.0F);
    EXPECT_EQ(ModuleParam::Mapped("Point", 13, 2.0F, 2.0F, 0.0F).ToNormalized(7.0F), 1.0F);
    const ModuleParam harmonic = ModuleParam::Mapped("Ratio", 12, 0.0F, 1.0F, 4.0F);
    EXPECT_NEAR(harmonic.ToNormalized(3.0F), 0.5F + 0.5F * 2.0F / 3.0F, 1e-6F);
    EXPECT_EQ(harmonic.ToNormalized(9.0F), 1.0F);

    ModuleParam raw("Raw");
    for (const float wild : {-3.0F, 0.25F, 17.0F}) {
        raw.SetNormalized(wild);
        EXPECT_EQ(raw.GetValue(), wild);
        raw.SetValue(-wild);
        EXPECT_EQ(raw.GetNormalized(), -wild);
    }
    falling.SetValue(100.0F);
    EXPECT_EQ(falling.GetValue(), 100.0F) << "a value is stored as given";
}

TEST(ModuleParamTest, InvertedTurnsTheBlockFormAndTheWayBackButNotThePlainConversion) {
    for (const Knob& knob : Knobs()) {
        ModuleParam plain = Declare(knob);
        ModuleParam inverted = plain;
        inverted.inverted = true;
        const ModulationInput still(1.0F, {});
        for (const float x : {0.0F, 0.25F, 0.625F, 1.0F}) {
            EXPECT_EQ(inverted.ToValue(x), plain.ToValue(x)) << Describe(knob);
            const float real = plain.ToValue(x);
            EXPECT_NEAR(inverted.ToNormalized(real), 1.0F - plain.ToNormalized(real), 1e-6F)
                << Describe(knob);
            inverted.SetNormalized(x);
            plain.SetNormalized(1.0F - x);
            EXPECT_EQ(still.Render(inverted), still.Render(plain)) << Describe(knob) << " at " << x;
        }
    }
    ModuleParam mode = ModuleParam::Stepped("Mode", 3, 0.0F, 1.0F);
    mode.inverted = true;
    mode.SetNormalized(1.0F);
    EXPECT_EQ(ModulationInput(1.0F, {}).Render(mode)[0], 2.0F) << "steps have no inverted form";
}

TEST(ModuleParamTest, TheBlockFormIsTheScalarFormSampleBySample) {
    std::vector<ModuleParam> params = {ModuleParam("Raw"), ModuleParam::Stepped("Up", 5, 1.0F, 2.0F),
                                       ModuleParam::Stepped("Down", 5, 1.0F, -2.0F)};
    for (const Knob& knob : Knobs()) {
        params.push_back(Declare(knob));
    }
    const std::array<float, 8> offsets = {0.0F, 0.1F, -0.25F, 0.5F, -0.45F, 0.55F, 2.0F, -2.0F};
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
        EXPECT_EQ(param.GetModulatedValue(input.context, 1), param.GetValueWithOffset(offsets[0]));
        EXPECT_EQ(param.GetNormalized(), 0.45F) << "modulation is not stored";
    }
}

TEST(ModuleParamTest, WithoutActiveModulationTheBlockIsThePlainValue) {
    const ModulationInput silent(0.0F, {0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 0.3F, 0.3F});
    ModuleParam param = ModuleParam::Mapped("Level", 1, 0.0F, 10.0F, 0.0F);
    param.SetNormalized(1.5F); // beyond the end: only modulated values are bounded
    for (const float sample : silent.Render(param)) {
        EXPECT_EQ(sample, 15.0F);
    }
    std::array<float, 8> out{};
    for (const u32 missing : {0U, 2U, 7U}) { // a null pointer, and beyond the inputs
        out.fill(0.0F);
        param.RenderModulated(silent.context, missing, out.data());
        EXPECT_EQ(out[0], 15.0F);
        EXPECT_EQ(out[7], 15.0F);
        EXPECT_EQ(param.GetModulatedValue(silent.context, missing), 15.0F);
    }
    EXPECT_EQ(param.GetModulatedValue(silent.context, 1), 15.0F);
}

TEST(ModuleParamTest, ModulationThatIsNotANumberCountsAsTheStartOfTheWay) {
    const ModulationInput broken(1.0F, {notANumber, 0.0F, notANumber, 0.0F, 0.0F, 0.0F, 0.0F, notANumber});
    for (const Knob& knob : Knobs()) {
        ModuleParam param = Declare(knob);
        param.SetNormalized(0.5F);
        const auto block = broken.Render(param);
        EXPECT_EQ(block[0], param.ToValue(0.0F)) << Describe(knob);
        EXPECT_EQ(block[7], block[0]) << Describe(knob);
        EXPECT_EQ(param.GetValueWithOffset(notANumber), block[0]) << Describe(knob);
    }
}

TEST(ModuleParamTest, ConversionsAreLazyAndPeekingStoresNothing) {
    ModuleParam param = ModuleParam::Mapped("Level", 1, 0.0F, 10.0F, 0.0F);
    param.SetNormalized(0.5F);
    EXPECT_EQ(param.PeekValue(), 5.0F);
    EXPECT_EQ(param.value, 0.0F);
    EXPECT_EQ(param.GetNormalized(), 0.5F);
    EXPECT_EQ(param.state, 1) << "the newer side is read without conversion";
    EXPECT_EQ(param.GetValue(), 5.0F);
    EXPECT_EQ(param.value, 5.0F);
    EXPECT_EQ(param.state, 0);
    param.SetValue(2.0F);
    EXPECT_EQ(param.PeekNormalized(), 0.2F);
    EXPECT_EQ(param.normalized, 0.5F);
    EXPECT_EQ(param.GetValue(), 2.0F);
    EXPECT_EQ(param.state, 2);
    EXPECT_EQ(param.GetNormalized(), 0.2F);
    EXPECT_EQ(param.state, 0);
}

TEST(ModuleParamTest, ACopyHasACurveOfItsOwnAndOutlivesTheOriginal) {
    auto original = std::make_unique<ModuleParam>(ModuleParam::Mapped("Cutoff", 2, 20.0F, 20000.0F, 3.0F));
    original->inverted = true;
    original->reserved[1] = 7;
    original->SetNormalized(0.5F);
    ModuleParam copied(*original);
    ModuleParam assigned;
    assigned = *original;
    ModuleParam moved;
    {
        ModuleParam source = *original;
        moved = std::move(source);
    }
    ModuleParam source = *original;
    std::vector<ModuleParam> grown;
    grown.push_back(std::move(source));
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
        EXPECT_EQ(param->reserved[0], -1);
        EXPECT_EQ(param->reserved[1], 7);
    }
}

TEST(ModuleParamTest, ASharedCurveBringsItsRangeAndIsNotCopied) {
    const MappingTools::TablePotardMapping table({2.0F, 3.0F, 10.0F});
    ModuleParam param("Table");
    param.UseSharedMapping(table);
    EXPECT_EQ(param.GetValue(), 2.0F);
    EXPECT_EQ(param.maxValue, 10.0F);
    ModuleParam copy = param;
    EXPECT_EQ(copy.mapping, &table);
    EXPECT_EQ(copy.mappingStorage.index(), 16U);
    copy.SetNormalized(0.75F);
    EXPECT_FLOAT_EQ(copy.GetValue(), 6.5F) << "the table's values are final";
    copy.SetValue(3.0F);
    EXPECT_FLOAT_EQ(copy.GetNormalized(), 0.5F);
}

TEST(ModuleParamTest, DeclaringAnewReplacesAllButTheName) {
    ModuleParam param = ModuleParam::Stepped("Type", 6, 2.0F, -1.0F);
    param.SetNormalized(0.8F);
    param.Redeclare(7, -1.0F, 3.0F, 2.0F, 0.25F, true);
    EXPECT_EQ(param.name, "Type");
    EXPECT_EQ(param.GetNormalized(), 0.0F);
    EXPECT_EQ(param.GetValue(), -1.0F);
    EXPECT_EQ(param.mapping->GetShape2(), 0.25F);
    EXPECT_NEAR(param.ToNormalized(3.0F), 0.0F, 1e-6F);
    EXPECT_NEAR(param.ToValue(0.25F), 0.0F, 1e-6F);

    EXPECT_THROW(param.Redeclare(ModuleParam::steppedKind, 0.0F, 1.0F, 0.0F, 0.0F, false), CException);
    EXPECT_NEAR(param.ToValue(0.25F), 0.0F, 1e-6F) << "a refused declaration changes nothing";
    EXPECT_THROW(ModuleParam::Mapped("None", 17, 0.0F, 1.0F, 0.0F), CException);

    param.Redeclare(12, 1.0F, 2.0F, 4.0F, 0.0F, false);
    EXPECT_EQ(param.ToValue(1.0F), 4.0F) << "final values are not scaled";
    param.Redeclare(1, 1.0F, 2.0F, 0.0F, 0.0F, false);
    EXPECT_EQ(param.ToValue(1.0F), 2.0F);

    const ModuleParam raw = ModuleParam::Mapped("Raw", 0, -5.0F, 5.0F, 0.0F);
    EXPECT_EQ(raw.rangeMin, 0.0F);
    EXPECT_EQ(raw.rangeMax, 1.0F);
    EXPECT_EQ(raw.PeekValue(), -5.0F);
    EXPECT_EQ(raw.ToValue(0.75F), 0.75F);
}

} // namespace
} // namespace Velmora::dsp
