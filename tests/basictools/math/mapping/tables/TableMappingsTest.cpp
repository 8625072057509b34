// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/VuMeterMapping.h"
#include "basictools/math/mapping/tables/EnveloppeTimeMapping.h"
#include "basictools/math/mapping/tables/MixerTimeMapping.h"
#include "basictools/math/mapping/tables/TablePotardMapping.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::MappingTools {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
const float justBelowOne = std::nextafter(1.0F, 0.0F);

/// The sum of the curve at the middles of its segments, which no point can leave unnoticed.
float SumOfMiddles(const IPotardMapping& mapping, int segments) {
    float sum = 0.0F;
    for (int i = 0; i < segments; ++i) {
        sum += mapping.Map((static_cast<float>(i) + 0.5F) / static_cast<float>(segments));
    }
    return sum;
}

TEST(EnveloppeTimeMappingTest, InterpolatesBetweenItsPointsAndClampsWhatLiesOutside) {
    const EnveloppeTimeMapping mapping;
    EXPECT_NEAR(mapping.Map(0.525F), (0.037835404F + 0.049538624F) / 2.0F, 1e-7F);
    EXPECT_NEAR(mapping.Unmap(0.84289428F), 0.975F, 1e-6F);
    EXPECT_NEAR(SumOfMiddles(mapping, 20), 3.077934F, 2e-6F);
    EXPECT_NEAR(mapping.Map(justBelowOne), 1.0F, 1e-6F);
    for (const float high : {1.0F, 1.5F, 1e30F, infinity}) {
        EXPECT_EQ(mapping.Map(high), 1.0F);
        EXPECT_EQ(mapping.Unmap(high), 1.0F);
    }
    for (const float low : {0.0F, -0.1F, -1e30F, -infinity, notANumber}) {
        EXPECT_EQ(mapping.Map(low), 0.0F);
        EXPECT_EQ(mapping.Unmap(low), 0.0F);
    }
}

TEST(MixerTimeMappingTest, InterpolatesBetweenItsPointsAndPassesWhatLiesOutsideExceptAtTheTopOfMap) {
    const MixerTimeMapping mapping;
    EXPECT_NEAR(mapping.Map(1.0F / 3.0F), 0.0085872915F, 1e-8F);
    EXPECT_NEAR(mapping.Unmap(0.091795191F), 6.0F / 9.0F, 1e-6F);
    EXPECT_NEAR(SumOfMiddles(mapping, 9), 1.502097F, 2e-6F);
    EXPECT_NEAR(mapping.Map(justBelowOne), 1.0F, 1e-6F);
    EXPECT_EQ(mapping.Map(infinity), 1.0F);
    EXPECT_EQ(mapping.Unmap(3.0F), 3.0F);
    for (const float low : {0.0F, -0.25F, -infinity}) {
        EXPECT_EQ(mapping.Map(low), low);
        EXPECT_EQ(mapping.Unmap(low), low);
    }
    EXPECT_TRUE(std::isnan(mapping.Map(notANumber)));
    EXPECT_TRUE(std::isnan(mapping.Unmap(notANumber)));
}

TEST(VuMeterMappingTest, ScaleFallsInOnePieceFromFullLevelToTheEnd) {
    const VuMeterMapping mapping;
    EXPECT_EQ(mapping.Map(1.0F), 1.0F);
    for (const float x : {0.0F, 0.5F, justBelowOne, 2.0F, notANumber}) {
        EXPECT_EQ(mapping.Map(x), 0.0F) << "x = " << x;
    }
    // Level in dB below full scale, and the deflection from the top.
    const float marks[][2] = {{0, 0},      {10, 0.25F},  {20, 0.5F}, {30, 0.7F},
                              {40, 0.85F}, {50, 0.925F}, {60, 0.95F}};
    for (const auto& mark : marks) {
        EXPECT_NEAR(mapping.Unmap(mark[0] / 60.0F), mark[1], 1e-5F) << mark[0] << " dB";
    }
    for (const float x : {1.2F, infinity, notANumber}) {
        EXPECT_EQ(mapping.Unmap(x), 1.0F);
    }
}

TEST(TablePotardMappingTest, InterpolatesBetweenItsValuesAndStaysInsideTheTableForWildInput) {
    const TablePotardMapping mapping({-2.0F, 0.0F, 1.0F, 5.0F, 6.0F});
    const TablePotardMapping single({3.0F});
    EXPECT_EQ(mapping.GetMin(), -2.0F);
    EXPECT_EQ(mapping.GetMax(), 6.0F);
    EXPECT_EQ(mapping.Map(0.125F), -1.0F);
    EXPECT_EQ(mapping.Map(0.625F), 3.0F);
    for (int i = 0; i <= 64; ++i) {
        const float x = static_cast<float>(i) / 64.0F;
        EXPECT_NEAR(mapping.Unmap(mapping.Map(x)), x, 1e-6F);
    }
    for (const float high : {1.0F, 1.0000001F, 2.0F, 1e30F, infinity}) {
        EXPECT_EQ(mapping.Map(high), 6.0F) << high;
    }
    EXPECT_EQ(mapping.Map(-0.25F), -4.0F);
    EXPECT_EQ(single.Map(-1.0F), 3.0F);
    EXPECT_EQ(single.Map(9.0F), 3.0F);
    EXPECT_TRUE(std::isnan(mapping.Map(notANumber)));
    EXPECT_EQ(mapping.Unmap(-7.0F), 0.0F);
    EXPECT_EQ(mapping.Unmap(notANumber), 0.0F);
    EXPECT_EQ(mapping.Unmap(6.5F), infinity);
    EXPECT_EQ(single.Unmap(3.0F), 0.0F);
}

TEST(TablePotardMappingTest, RefusesEmptyAndNotRisingTables) {
    const auto failureOf = [](std::vector<float> values) -> std::string {
        try {
            TablePotardMapping mapping(std::move(values));
            return "none";
        } catch (const std::invalid_argument& failure) {
            return failure.what();
        }
    };
    const std::string notRising = "TablePotardMapping: table is not striclty increasing.";
    EXPECT_EQ(failureOf({}), "TablePotardMapping: empty table.");
    EXPECT_EQ(failureOf({1.0F, 1.0F}), notRising);
    EXPECT_EQ(failureOf({1.0F, 2.0F, 1.5F}), notRising);
    EXPECT_EQ(failureOf({1.0F, notANumber, 3.0F}), notRising);
    EXPECT_EQ(failureOf({1.0F, 1.5F}), "none");
}

} // namespace
} // namespace Velmora::MappingTools
