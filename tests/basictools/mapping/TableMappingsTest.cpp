// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/EnveloppeTimeMapping.h"
#include "basictools/math/mapping/MixerTimeMapping.h"
#include "basictools/math/mapping/TablePotardMapping.h"
#include "basictools/math/mapping/VuMeterMapping.h"

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

TEST(EnveloppeTimeMappingTest, InterpolatesBetweenItsPoints) {
    const EnveloppeTimeMapping mapping;
    EXPECT_NEAR(mapping.Map(0.5F), 0.037835404F, 1e-8F);
    EXPECT_NEAR(mapping.Map(0.75F), 0.19727924F, 1e-7F);
    EXPECT_NEAR(mapping.Map(0.525F), (0.037835404F + 0.049538624F) / 2.0F, 1e-7F);
    EXPECT_NEAR(mapping.Map(0.025F), 0.00013753782F, 1e-9F);
    EXPECT_NEAR(mapping.Unmap(0.68578857F), 0.95F, 1e-6F);
    EXPECT_NEAR(mapping.Unmap(0.84289428F), 0.975F, 1e-6F);
    EXPECT_NEAR(SumOfMiddles(mapping, 20), 3.077934F, 2e-6F);
}

TEST(EnveloppeTimeMappingTest, ClampsEverythingOutsideTheKnob) {
    const EnveloppeTimeMapping mapping;
    for (const float high : {1.0F, 1.5F, 1e30F, infinity}) {
        EXPECT_EQ(mapping.Map(high), 1.0F);
        EXPECT_EQ(mapping.Unmap(high), 1.0F);
    }
    for (const float low : {0.0F, -0.1F, -1e30F, -infinity, notANumber}) {
        EXPECT_EQ(mapping.Map(low), 0.0F);
        EXPECT_EQ(mapping.Unmap(low), 0.0F);
    }
    EXPECT_NEAR(mapping.Map(justBelowOne), 1.0F, 1e-6F);
}

TEST(MixerTimeMappingTest, InterpolatesBetweenItsPoints) {
    const MixerTimeMapping mapping;
    EXPECT_NEAR(mapping.Map(1.0F / 3.0F), 0.0085872915F, 1e-8F);
    EXPECT_NEAR(mapping.Map(8.0F / 9.0F), 0.55262184F, 1e-6F);
    EXPECT_NEAR(mapping.Map(8.5F / 9.0F), 0.77631092F, 1e-6F);
    EXPECT_NEAR(mapping.Unmap(0.091795191F), 6.0F / 9.0F, 1e-6F);
    EXPECT_NEAR(SumOfMiddles(mapping, 9), 1.502097F, 2e-6F);
    EXPECT_NEAR(mapping.Map(justBelowOne), 1.0F, 1e-6F);
}

TEST(MixerTimeMappingTest, PassesWhatLiesOutsideExceptAtTheTopOfMap) {
    const MixerTimeMapping mapping;
    EXPECT_EQ(mapping.Map(0.0F), 0.0F);
    EXPECT_EQ(mapping.Unmap(0.0F), 0.0F);
    EXPECT_EQ(mapping.Map(3.0F), 1.0F);
    EXPECT_EQ(mapping.Map(infinity), 1.0F);
    EXPECT_EQ(mapping.Unmap(3.0F), 3.0F);
    for (const float low : {-0.25F, -1e30F, -infinity}) {
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
    float previous = mapping.Unmap(-0.1F);
    for (int i = -9; i <= 140; ++i) {
        const float deflection = mapping.Unmap(static_cast<float>(i) / 100.0F);
        EXPECT_GE(deflection, previous - 1e-6F) << "at " << i;
        EXPECT_LT(deflection - previous, 0.02F) << "at " << i;
        previous = deflection;
    }
    EXPECT_EQ(mapping.Unmap(1.2F), 1.0F);
    EXPECT_EQ(mapping.Unmap(notANumber), 1.0F);
}

TEST(TablePotardMappingTest, InterpolatesBetweenItsValues) {
    const TablePotardMapping mapping({-2.0F, 0.0F, 1.0F, 5.0F, 6.0F});
    EXPECT_TRUE(mapping.IsAbsolute());
    EXPECT_EQ(mapping.GetMin(), -2.0F);
    EXPECT_EQ(mapping.GetMax(), 6.0F);
    EXPECT_EQ(mapping.Map(0.0F), -2.0F);
    EXPECT_EQ(mapping.Map(0.125F), -1.0F);
    EXPECT_EQ(mapping.Map(0.5F), 1.0F);
    EXPECT_EQ(mapping.Map(0.625F), 3.0F);
    EXPECT_EQ(mapping.Map(1.0F), 6.0F);
    for (int i = 0; i <= 64; ++i) {
        const float x = static_cast<float>(i) / 64.0F;
        EXPECT_NEAR(mapping.Unmap(mapping.Map(x)), x, 1e-6F);
    }
}

TEST(TablePotardMappingTest, StaysInsideTheTableForWildInput) {
    const TablePotardMapping mapping({1.0F, 2.0F, 4.0F});
    for (const float high : {1.0000001F, 2.0F, 1e30F, infinity}) {
        EXPECT_EQ(mapping.Map(high), 4.0F) << high;
    }
    EXPECT_EQ(mapping.Map(-0.25F), 0.5F);
    EXPECT_EQ(mapping.Map(-infinity), -infinity);
    EXPECT_TRUE(std::isnan(mapping.Map(notANumber)));
    EXPECT_EQ(mapping.Unmap(-7.0F), 0.0F);
    EXPECT_EQ(mapping.Unmap(notANumber), 0.0F);
    EXPECT_EQ(mapping.Unmap(4.5F), infinity);
}

TEST(TablePotardMappingTest, OneValueIsATableOfItsOwn) {
    const TablePotardMapping mapping({3.0F});
    EXPECT_EQ(mapping.GetMin(), 3.0F);
    EXPECT_EQ(mapping.GetMax(), 3.0F);
    for (const float x : {-1.0F, 0.0F, 0.4F, 1.0F, 9.0F}) {
        EXPECT_EQ(mapping.Map(x), 3.0F) << "x = " << x;
    }
    EXPECT_EQ(mapping.Unmap(3.0F), 0.0F);
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
