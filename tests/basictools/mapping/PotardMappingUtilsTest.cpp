// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/PotardMappingUtils.h"

#include "basictools/math/mapping/TablePotardMapping.h"
#include "support/CException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace Velmora::MappingTools {
namespace {

struct Knob {
    i32 id;
    float a;
    float b;
    std::size_t tag;
    double low;  // at position 0
    double high; // at position 1
};

const std::vector<Knob>& Knobs() {
    static const std::vector<Knob> knobs = {
        {0, 5.0F, 0.5F, 1, 0, 1},           {1, 5.0F, 0.5F, 1, 0, 1},          {2, 3.0F, 0.5F, 3, 0, 1},
        {2, 0.3F, 0.5F, 3, 0, 1},           {3, 2.5F, 0.5F, 4, 0, 1},          {3, 0.4F, 0.5F, 4, 0, 1},
        {4, 7.0F, 0.5F, 5, 0, 1},           {4, -3.0F, 0.5F, 5, 0, 1},         {5, 2.0F, 0.5F, 6, 0, 1},
        {5, -4.0F, 0.5F, 6, 0, 1},          {6, 2.0F, 0.5F, 7, 0, 1},          {6, 3.0F, 0.5F, 7, 0, 1},
        {6, 1.5F, 0.5F, 7, 0, 1},           {7, 2.0F, 0.5F, 8, 0, 1},          {7, 0.6F, 0.2F, 8, 0, 1},
        {8, 99.0F, 0.5F, 5, 0, 1},          {9, 0.0F, 0.5F, 9, 0, 1},          {10, 0.0F, 0.5F, 10, 0, 1},
        {11, 0.0F, 0.5F, 11, 0, 1},         {12, 16.0F, 0.5F, 12, 0.0625, 16}, {13, 0.0F, 0.5F, 2, 1, 0},
        {14, 0.1F, 0.5F, 13, 0, 1},         {15, 20.0F, 500.0F, 14, 1, 0},     {15, -8.0F, -0.5F, 14, 1, 0},
        {16, 110.0F, 49.0F, 15, 110, 1760},
    };
    return knobs;
}

std::string Describe(const Knob& knob) {
    return "id " + std::to_string(knob.id) + " shape " + std::to_string(knob.a);
}

/// The curves with a block form of their own, in double precision and by another road than the code's.
double Reference(const Knob& knob, double x) {
    const double a = knob.id == 8 ? 4.4294891 : static_cast<double>(knob.a);
    const double c = knob.b;
    const double t = 2.0 * x - 1.0;
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
    default:
        return x <= c ? c * std::pow(x / c, a) : 1.0 - (1.0 - c) * std::pow((1.0 - x) / (1.0 - c), a);
    }
}

TEST(PotardMappingUtilsTest, EveryIdYieldsItsTagAndEndPoints) {
    for (const Knob& knob : Knobs()) {
        const MappingStorage storage = MakePotardMapping(knob.id, knob.a, knob.b);
        const IPotardMapping* mapping = ActiveMapping(storage);
        ASSERT_NE(mapping, nullptr) << Describe(knob);
        EXPECT_EQ(storage.index(), knob.tag) << Describe(knob);
        EXPECT_NEAR(mapping->Map(0.0F), knob.low, 2e-6 * std::max(1.0, knob.low)) << Describe(knob);
        EXPECT_NEAR(mapping->Map(1.0F), knob.high, 2e-6 * std::max(1.0, knob.high)) << Describe(knob);
        EXPECT_EQ(mapping->IsAbsolute(), knob.id == 12 || knob.id == 16) << Describe(knob);
    }
}

TEST(PotardMappingUtilsTest, UnmapUndoesMapAndCurvesAreMonotonous) {
    for (const Knob& knob : Knobs()) {
        if (knob.id == 11) {
            continue; // a one-way scale
        }
        const MappingStorage storage = MakePotardMapping(knob.id, knob.a, knob.b);
        const IPotardMapping& mapping = *ActiveMapping(storage);
        const float direction = knob.high > knob.low ? 1.0F : -1.0F;
        float previous = mapping.Map(0.0F);
        for (int i = 1; i <= 64; ++i) {
            const float x = static_cast<float>(i) / 64.0F;
            const float y = mapping.Map(x);
            EXPECT_GT((y - previous) * direction, 0.0F) << Describe(knob) << " x " << x;
            EXPECT_NEAR(mapping.Unmap(y), x, 2e-4F) << Describe(knob) << " y " << y;
            previous = y;
        }
    }
}

TEST(PotardMappingUtilsTest, CurvesAndTheirBlockFormsFollowTheDoubleReference) {
    for (const Knob& knob : Knobs()) {
        if (knob.id < 2 || knob.id > 8) {
            continue;
        }
        const MappingStorage storage = MakePotardMapping(knob.id, knob.a, knob.b);
        const IPotardMapping& mapping = *ActiveMapping(storage);
        std::vector<float> block(1001);
        for (std::size_t i = 0; i < block.size(); ++i) {
            block[i] = static_cast<float>(i) / 1000.0F;
        }
        const std::vector<float> positions = block;
        mapping.MapBlock(block.data(), static_cast<u32>(block.size()));
        for (std::size_t i = 0; i < block.size(); ++i) {
            const double expected = Reference(knob, positions[i]);
            ASSERT_NEAR(mapping.Map(positions[i]), expected, 1e-6) << Describe(knob) << " x " << positions[i];
            ASSERT_NEAR(block[i], expected, 1e-6) << Describe(knob) << " block form, x " << positions[i];
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

TEST(PotardMappingUtilsTest, ACopyStandsForItselfAndCanBeAssigned) {
    MappingStorage storage;
    EXPECT_EQ(ActiveMapping(storage), nullptr);
    for (const Knob& knob : Knobs()) {
        const MappingStorage original = MakePotardMapping(knob.id, knob.a, knob.b);
        storage = original;
        ASSERT_NE(ActiveMapping(storage), ActiveMapping(original));
        EXPECT_EQ(ActiveMapping(storage)->Map(0.3F), ActiveMapping(original)->Map(0.3F)) << Describe(knob);
        EXPECT_EQ(ActiveMapping(storage)->GetShape(), ActiveMapping(original)->GetShape()) << Describe(knob);
    }
    const TablePotardMapping shared({1.0F, 2.0F});
    storage = static_cast<const IPotardMapping*>(&shared);
    EXPECT_EQ(storage.index(), 16U);
    EXPECT_EQ(ActiveMapping(storage), &shared);
}

TEST(PotardMappingUtilsTest, UnknownIdsAreRefused) {
    for (const i32 id : {-1, 17, 18, std::numeric_limits<i32>::max()}) {
        try {
            MakePotardMapping(id, 1.0F, 0.5F);
            ADD_FAILURE() << "no exception for id " << id;
        } catch (const CException& failure) {
            EXPECT_STREQ(failure.what(), "Potard Mapping not found.(PotardMappingUtils:231)");
        }
    }
}

TEST(PotardMappingUtilsTest, BlockFormGivesNoNaNThatMapDoesNotGiveForWildPositions) {
    // Whatever is stored in a parameter reaches the mappings, far outside the knob's way as well. Positions
    // that are not finite are only required to do no harm, which a sanitizer build checks.
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
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
