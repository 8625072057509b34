// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/SampleCycle.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using Velmora::u32;
using Velmora::Processor::SampleCycle;

TEST(SampleCycle, WithoutAnyValidSlotItFallsBackToTheFirst) {
    for (const u32 current : {0U, 5U, 11U}) {
        SampleCycle cycle;
        EXPECT_EQ(cycle.Choose(SampleCycle::Upward, current, false, {}).next, 0U);
        EXPECT_EQ(cycle.Choose(SampleCycle::Downward, current, false, {}).next, 0U);
        const auto both = cycle.Choose(SampleCycle::UpAndDown, current, false, {});
        EXPECT_FALSE(both.next.has_value());
        EXPECT_TRUE(both.foundNothing);
        EXPECT_FALSE(cycle.Choose(SampleCycle::Random, current, false, {}).next.has_value());
    }
}

TEST(SampleCycle, RandomChoicesAreEvenAndReproducible) {
    const SampleCycle::Slots valid = 0b0101'1001'0010;
    SampleCycle cycle;
    SampleCycle other;
    cycle.SeedRandom(7);
    other.SeedRandom(7);
    std::array<int, 12> counts{};
    for (int i = 0; i < 5000; ++i) {
        const u32 slot = cycle.Choose(SampleCycle::Random, 0, false, valid).next.value_or(11);
        EXPECT_EQ(other.Choose(SampleCycle::Random, 3, true, valid).next, slot);
        ++counts[slot];
    }
    for (u32 slot = 0; slot < 12; ++slot) {
        EXPECT_NEAR(counts[slot], valid[slot] ? 1000 : 0, valid[slot] ? 130 : 0) << slot;
    }
}

} // namespace
