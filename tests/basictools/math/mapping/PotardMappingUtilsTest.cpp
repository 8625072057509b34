// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/PotardMappingUtils.h"

#include "support/CException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::MappingTools {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

struct Knob {
    i32 id;
    float a = 0.0F;
    float b = 0.5F;
};

const std::vector<Knob>& Knobs() {
    static const std::vector<Knob> knobs = {
        {0, 5.0F},          {1, 5.0F},  {2, 3.0F},  {2, 0.3F},  {3, 2.5F},           {3, 0.4F},
        {4, 7.0F},          {4, -3.0F}, {5, 2.0F},  {5, -4.0F}, {6, 2.0F},           {6, 3.0F},
        {6, 1.5F},          {7, 2.0F},  {9},        {10},       {7, 0.6F, 0.2F},     {8, 99.0F},
        {12, 16.0F},        {13},       {14, 0.1F}, {11},       {15, 20.0F, 500.0F}, {15, -8.0F, -0.5F},
        {16, 110.0F, 49.0F}};
    return knobs;
}

std::string Describe(const Knob& knob) {
    return "id " + std::to_string(knob.id) + " shape " + std::to_string(knob.a);
}

/// The curves in double precision and by another road than the code's.
double Reference(const Knob& knob, double x) {
    const double a = knob.id == 8 ? 4.4294891 : static_cast<double>(knob.a);
    const double c = knob.b;
    const double t = 2.0 * x - 1.0;
    const double harmonic = 1.0 + (a - 1.0) * std::abs(t);
    switch (knob.id) {
    case 2:
        return std::pow(x, a);
    case 3:
        return 1.0 - std::pow(1.0 - x, a);
    case 4:
    case 8:
        return std::expm1(a * x) / std::expm1(a);
    case 5:
        return 0.5 + std::copysign(std::expm1(a * std::abs(t)) / std::expm1(a), t) / 2.0;
    case 6:
        return 0.5 + std::copysign(std::pow(std::abs(t), a), t) / 2.0;
    case 7:
        return x <= c ? c * std::pow(x / c, a) : 1.0 - (1.0 - c) * std::pow((1.0 - x) / (1.0 - c), a);
    case 12: // a ratio and, to the other side, its reciprocal
        return t < 0.0 ? 1.0 / harmonic : harmonic;
    case 13:
        return 1.0 - x;
    case 14: // a knee at three quarters of the way
        return std::max(x / 0.75 * a, 1.0 - (1.0 - x) / 0.25 * (1.0 - a));
    case 15: // straight in the reciprocal, from the maximum down
        return (1.0 / ((1.0 - x) / c + x / a) - a) / (c - a);
    case 16: // semitones
        return a * std::exp2(x * (c - 1.0) / 12.0);
    default:
        return x;
    }
}

TEST(PotardMappingUtilsTest, CurvesTheirInversesAndTheirBlockFormsFollowTheDoubleReference) {
    for (const Knob& knob : Knobs()) {
        const MappingStorage storage = MakePotardMapping(knob.id, knob.a, knob.b);
        const IPotardMapping& mapping = *ActiveMapping(storage);
        EXPECT_EQ(mapping.IsAbsolute(), knob.id == 12 || knob.id == 16) << Describe(knob);
        std::vector<float> block(1001);
        for (std::size_t i = 0; i < block.size(); ++i) {
            block[i] = static_cast<float>(i) / 1000.0F;
        }
        const std::vector<float> positions = block;
        mapping.MapBlock(block.data(), static_cast<u32>(block.size()));
        for (std::size_t i = 0; i < block.size(); ++i) {
            const float x = positions[i];
            const bool isTable = knob.id >= 9 && knob.id <= 11;
            const double expected =
                isTable ? static_cast<double>(mapping.Map(x)) : Reference(knob, static_cast<double>(x));
            const double tolerance = 1e-6 * std::max(1.0, std::abs(expected));
            ASSERT_NEAR(mapping.Map(x), expected, tolerance) << Describe(knob) << " x " << x;
            ASSERT_NEAR(block[i], expected, tolerance) << Describe(knob) << " block form, x " << x;
            if (i % 20 == 0 && knob.id != 11) { // 11 is a one-way scale
                EXPECT_NEAR(mapping.Unmap(mapping.Map(x)), x, 2e-4F) << Describe(knob);
            }
        }
    }
}

TEST(PotardMappingUtilsTest, BlockFormTouchesOnlyItsSamplesAndDependsOnNoNeighbour) {
    for (const Knob& knob : Knobs()) {
        const MappingStorage storage = MakePotardMapping(knob.id, knob.a, knob.b);
        const IPotardMapping& mapping = *ActiveMapping(storage);
        float whole[12];
        for (int i = 0; i < 12; ++i) {
            whole[i] = 0.09F * static_cast<float>(i);
        }
        const std::vector<float> positions(whole, whole + 12);
        mapping.MapBlock(whole, 12);
        for (u32 count = 0; count < 12; ++count) {
            std::vector<float> part = positions;
            mapping.MapBlock(part.data(), count);
            for (u32 i = 0; i < 12; ++i) {
                EXPECT_EQ(part[i], i < count ? whole[i] : positions[i])
                    << Describe(knob) << " count " << count;
            }
        }
    }
}

TEST(PotardMappingUtilsTest, UnknownIdsAndRangesWithoutAReciprocalAreRefused) {
    const auto failureOf = [](i32 id, float a, float b) -> std::string {
        try {
            MakePotardMapping(id, a, b);
            return "none";
        } catch (const CException& failure) {
            return failure.what();
        }
    };
    for (const i32 id : {-1, 17, 18, std::numeric_limits<i32>::max()}) {
        EXPECT_EQ(failureOf(id, 1.0F, 0.5F), "Potard Mapping not found.(PotardMappingUtils:231)") << id;
    }
    for (const auto& [low, high] :
         {std::pair(-1.0F, 1.0F), {0.0F, 1.0F}, {-1.0F, 0.0F}, {notANumber, 1.0F}}) {
        EXPECT_EQ(failureOf(15, low, high),
                  "Inverse Mapping range should not cross 0 value(InversePotardMapping:28)")
            << low << " to " << high;
    }
    for (const auto& [low, high] : {std::pair(2.0F, 2.0F), {-1.0F, -2.0F}}) {
        EXPECT_EQ(failureOf(15, low, high),
                  "Max value must be bigger than min value(InversePotardMapping:31)");
    }
}

TEST(PotardMappingUtilsTest, BlockFormGivesNoNaNThatMapDoesNotGiveForWildPositions) {
    // Whatever is stored in a parameter reaches the mappings, far outside the knob's way as well. Positions
    // that are not finite are only required to do no harm, which a sanitizer build checks.
    for (const Knob& knob : Knobs()) {
        const MappingStorage storage = MakePotardMapping(knob.id, knob.a, knob.b);
        const IPotardMapping& mapping = *ActiveMapping(storage);
        for (const float wild :
             {-1e30F, -2.0F, -1e-7F, 1.0000001F, 2.0F, 1e30F, -infinity, infinity, notANumber}) {
            float block[5] = {wild, wild, wild, wild, wild};
            mapping.MapBlock(block, 5);
            mapping.Unmap(wild);
            const float mapped = mapping.Map(wild);
            if (std::isfinite(wild) && !std::isnan(mapped)) {
                EXPECT_FALSE(std::isnan(block[0])) << Describe(knob) << " x " << wild;
                EXPECT_FALSE(std::isnan(block[4])) << Describe(knob) << " x " << wild;
            }
        }
    }
}

} // namespace
} // namespace Velmora::MappingTools
