// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/PotardMappingUtils.h"
#include "support/CException.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <string>

namespace Velmora::MappingTools {
namespace {

TEST(CurveMappingsTest, ShapesAreHandedBack) {
    EXPECT_EQ(LinearPotardMapping().GetShape(), 0.0F);
    EXPECT_EQ(PolynomialPotardMapping(3.0F).GetShape(), 3.0F);
    EXPECT_EQ(ExponentialPotardMapping(-3.0F).GetShape(), -3.0F);
    EXPECT_EQ(ExponentialPotardMapping(-3.0F).GetShape2(), 0.0F);
    EXPECT_EQ(BipolarExpPotardMapping(2.0F).GetShape(), 2.0F);
    const BipolarVariableCenterInvPowPotardMapping centered(2.0F, 0.25F);
    EXPECT_EQ(centered.GetShape(), 2.0F);
    EXPECT_EQ(centered.GetShape2(), 0.25F);
    const InversePotardMapping inverse(2.0F, 8.0F);
    EXPECT_EQ(inverse.GetShape(), 2.0F);
    EXPECT_EQ(inverse.GetShape2(), 8.0F);
    const SemiToneToFreqMapping keys(440.0F, 13.0F);
    EXPECT_EQ(keys.GetShape(), 440.0F);
    EXPECT_EQ(keys.GetShape2(), 13.0F);
}

TEST(CurveMappingsTest, FixedExponentialIgnoresTheCallersShape) {
    const MappingStorage first = MakePotardMapping(8, 2.0F, 0.5F);
    const MappingStorage second = MakePotardMapping(8, 70.0F, 0.1F);
    EXPECT_EQ(ActiveMapping(first)->GetShape(), 4.4294891F);
    EXPECT_EQ(ActiveMapping(first)->Map(0.37F), ActiveMapping(second)->Map(0.37F));
}

TEST(CurveMappingsTest, BipolarCurvesAreAntisymmetricAroundTheCentre) {
    const BipolarExpPotardMapping exponential(3.0F);
    const BipolarPolynomialPotardMapping even(2.0F);
    const BipolarPolynomialPotardMapping odd(3.0F);
    const BipolarPolynomialPotardMapping broken(2.5F);
    for (const IPotardMapping* mapping :
         std::initializer_list<const IPotardMapping*>{&exponential, &even, &odd, &broken}) {
        EXPECT_EQ(mapping->Map(0.5F), 0.5F);
        for (int i = 0; i < 32; ++i) {
            const float x = static_cast<float>(i) / 64.0F;
            EXPECT_NEAR(mapping->Map(x) + mapping->Map(1.0F - x), 1.0F, 2e-7F) << "x = " << x;
        }
    }
    EXPECT_EQ(even.Map(0.25F), 0.375F);
    EXPECT_EQ(odd.Map(0.25F), 0.4375F);
}

TEST(CurveMappingsTest, MovableCentreIsAFixedPoint) {
    const BipolarVariableCenterInvPowPotardMapping mapping(2.0F, 0.25F);
    EXPECT_EQ(mapping.Map(0.25F), 0.25F);
    EXPECT_EQ(mapping.Map(0.125F), 0.0625F);
    EXPECT_EQ(mapping.Map(0.625F), 0.8125F);
    EXPECT_EQ(mapping.Unmap(0.0625F), 0.125F);
}

TEST(CurveMappingsTest, PiecewiseLinearReachesItsKneeAtThreeQuarters) {
    const PiecewiseLinearPotardMapping mapping(0.125F);
    EXPECT_EQ(mapping.Map(0.75F), 0.125F);
    EXPECT_NEAR(mapping.Map(0.375F), 0.0625F, 1e-8F);
    EXPECT_EQ(mapping.Map(0.875F), 0.5625F);
    EXPECT_EQ(mapping.Unmap(0.125F), 0.75F);
    EXPECT_EQ(mapping.Unmap(-4.0F), 0.0F);
    EXPECT_EQ(mapping.Unmap(4.0F), 1.0F);
}

TEST(CurveMappingsTest, HarmonicRatiosAreReciprocalToEitherSide) {
    const HarmonicMapping mapping(8.0F);
    EXPECT_EQ(mapping.Map(0.5F), 1.0F);
    EXPECT_EQ(mapping.Unmap(1.0F), 0.5F);
    for (const float turn : {0.1F, 0.25F, 0.5F}) {
        EXPECT_NEAR(mapping.Map(0.5F + turn) * mapping.Map(0.5F - turn), 1.0F, 1e-6F) << "turn " << turn;
    }
    EXPECT_EQ(mapping.Map(0.75F), 4.5F);
}

TEST(CurveMappingsTest, SemitonesDoubleTheFrequencyEveryTwelve) {
    const SemiToneToFreqMapping mapping(55.0F, 61.0F);
    for (int octave = 0; octave <= 5; ++octave) {
        const float x = static_cast<float>(octave) / 5.0F;
        const float expected = 55.0F * static_cast<float>(1 << octave);
        EXPECT_NEAR(mapping.Map(x), expected, 1e-6F * expected);
        EXPECT_NEAR(mapping.Unmap(expected), x, 1e-6F);
    }
}

TEST(CurveMappingsTest, InverseRunsStraightInTheReciprocal) {
    // Half way between 1/2 and 1/6 lies 1/3: a quarter of the way from 2 to 6.
    const InversePotardMapping mapping(2.0F, 6.0F);
    EXPECT_NEAR(mapping.Map(0.5F), 0.25F, 1e-6F);
    EXPECT_NEAR(mapping.Unmap(0.25F), 0.5F, 1e-6F);
}

TEST(CurveMappingsTest, InverseRefusesRangesWithoutAReciprocal) {
    const auto failureOf = [](float low, float high) -> std::string {
        try {
            return InversePotardMapping(low, high).GetShape() == low ? "none" : "wrong minimum";
        } catch (const CException& failure) {
            return failure.what();
        }
    };
    const std::string crosses = "Inverse Mapping range should not cross 0 value(InversePotardMapping:28)";
    const std::string disordered = "Max value must be bigger than min value(InversePotardMapping:31)";
    EXPECT_EQ(failureOf(-1.0F, 1.0F), crosses);
    EXPECT_EQ(failureOf(1.0F, -1.0F), crosses);
    EXPECT_EQ(failureOf(0.0F, 1.0F), crosses);
    EXPECT_EQ(failureOf(-1.0F, 0.0F), crosses);
    EXPECT_EQ(failureOf(std::numeric_limits<float>::quiet_NaN(), 1.0F), crosses);
    EXPECT_EQ(failureOf(2.0F, 2.0F), disordered);
    EXPECT_EQ(failureOf(-1.0F, -2.0F), disordered);
    EXPECT_EQ(failureOf(-2.0F, -1.0F), "none");
}

} // namespace
} // namespace Velmora::MappingTools
