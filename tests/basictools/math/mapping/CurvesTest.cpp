// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/PotardMappingUtils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace Velmora::MappingTools {
namespace {

using D = double;
D Exp(D x, D a) { return std::expm1(a * x) / std::expm1(a); }
/// Half a curve, from the middle to both ends.
D Bipolar(D x, D half) { return 0.5 + std::copysign(half, x - 0.5) / 2; }
D Way(D x) { return std::abs(2 * x - 1); }

/// A curve, the constants that it is tried with, and its form in double precision by another road than the
/// code's; none for a table.
struct Family {
    Curve curve;
    std::vector<std::array<float, 2>> constants;
    D (*form)(D x, D a, D b);
};
using enum Curve;
const std::vector<Family> families = {
    {Raw, {{5}}, [](D x, D, D) { return x; }},
    {Linear, {{5}}, [](D x, D, D) { return x; }},
    {Power, {{3}, {0.3F}}, [](D x, D a, D) { return std::pow(x, a); }},
    {InversePower, {{2.5F}, {0.4F}}, [](D x, D a, D) { return 1 - std::pow(1 - x, a); }},
    {Exponential, {{7}, {-3}}, [](D x, D a, D) { return Exp(x, a); }},
    {BipolarExponential, {{2}, {-4}}, [](D x, D a, D) { return Bipolar(x, Exp(Way(x), a)); }},
    {BipolarPower, {{2}, {3}, {1.5F}}, [](D x, D a, D) { return Bipolar(x, std::pow(Way(x), a)); }},
    {PowerAroundCentre,
     {{2, 0.5F}, {0.6F, 0.2F}},
     [](D x, D a, D c) {
         return x < c ? c * std::pow(x / c, a) : 1 - (1 - c) * std::pow((1 - x) / (1 - c), a);
     }},
    {FixedExponential, {{99}}, [](D x, D, D) { return Exp(x, 4.4294891); }},
    {EnvelopeTime, {{0}}, nullptr},
    {MixerTime, {{0}}, nullptr},
    {VuMeter, {{0}}, nullptr},
    // A ratio and, to the other side, its reciprocal.
    {Harmonic, {{16}}, [](D x, D a, D) { return std::pow(1 + (a - 1) * Way(x), x < 0.5 ? -1 : 1); }},
    {Reverse, {{0}}, [](D x, D, D) { return 1 - x; }},
    // A knee at three quarters of the way.
    {PiecewiseLinear,
     {{0.1F}},
     [](D x, D a, D) { return std::max(x / 0.75 * a, 1 - 4 * (1 - x) * (1 - a)); }},
    // Straight in the reciprocal, from the maximum down.
    {Reciprocal,
     {{20, 500}, {-8, -0.5F}},
     [](D x, D a, D b) { return (1 / ((1 - x) / b + x / a) - a) / (b - a); }},
    {SemitonesToHz, {{110, 49}}, [](D x, D a, D b) { return a * std::exp2(x * (b - 1) / 12); }}};

TEST(CurvesTest, MeasuredCurvesHaveTheirPoints) {
    const auto sum = [](const IPotardMapping& mapping, float steps) {
        double roots = 0.0; // small ones count, too
        for (float n = 0.0F; n <= steps; ++n) {
            roots += std::sqrt(static_cast<double>(mapping.Map(n / steps)));
        }
        return roots;
    };
    EXPECT_NEAR(sum(EnveloppeTimeMapping(), 20.0F), 6.27371, 1e-4);
    EXPECT_NEAR(sum(MixerTimeMapping(), 9.0F), 3.11061, 1e-4);
}

TEST(CurvesTest, MapBlockFormAndUnmapFollowTheReferenceAndEachOther) {
    for (const auto& [curve, constants, form] : families) {
        for (const auto& [a, b] : constants) {
            SCOPED_TRACE("curve " + std::to_string(static_cast<int>(curve)) + " of " + std::to_string(a));
            const MappingStorage storage = MakePotardMapping(curve, a, b);
            const IPotardMapping& mapping = *ActiveMapping(storage);
            EXPECT_EQ(mapping.IsAbsolute(), curve == Harmonic || curve == SemitonesToHz);
            std::vector<float> block(1001);
            for (std::size_t i = 0; i < block.size(); ++i) {
                block[i] = static_cast<float>(i) / 1000.0F;
            }
            const std::vector<float> positions = block;
            mapping.MapBlock(block.data(), 1001);
            for (std::size_t i = 0; i < block.size(); ++i) {
                const float x = positions[i];
                const float mapped = mapping.Map(x);
                const double expected = form != nullptr ? form(x, a, b) : static_cast<double>(mapped);
                const double tolerance = 1e-6 * std::max(1.0, std::abs(expected));
                ASSERT_NEAR(mapped, expected, tolerance) << x;
                ASSERT_NEAR(block[i], expected, tolerance) << "block form, " << x;
                // The meter's goes one way only.
                ASSERT_TRUE(curve == VuMeter || i % 20 != 0 || std::abs(mapping.Unmap(mapped) - x) < 2e-4F)
                    << x;
            }
        }
    }
}

// The middle between the marks of the face, which are straight in decibels: 0, -20, -30, ... -60.
TEST(CurvesTest, TheMeterStandsBetweenItsMarks) {
    for (const auto& [decibels, position] : {std::pair(-10.0F, 0.25F),
                                             {-25.0F, 0.6F},
                                             {-35.0F, 0.775F},
                                             {-45.0F, 0.8875F},
                                             {-55.0F, 0.9375F},
                                             {-65.0F, 0.975F}}) {
        EXPECT_NEAR(VuMeterMapping().Unmap(decibels / -60.0F), position, 1e-5F) << decibels;
    }
}

TEST(CurvesTest, ATableIsReadBothWays) {
    const TablePotardMapping table({-2.0F, 1.0F, 1.5F, 9.0F});
    for (const auto& [x, y] : {std::pair(0.0F, -2.0F), {1.0F / 6, -0.5F}, {0.5F, 1.25F}, {0.75F, 3.375F}}) {
        EXPECT_NEAR(table.Map(x), y, 1e-5F);
        EXPECT_NEAR(table.Unmap(y), x, 1e-5F);
    }
}

} // namespace
} // namespace Velmora::MappingTools
