// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/SampleCycle.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <vector>

namespace {

using Velmora::u32;
using Velmora::Processor::SampleCycle;

SampleCycle::Slots Valid(std::initializer_list<u32> list) {
    SampleCycle::Slots valid;
    for (const u32 slot : list) {
        valid.set(slot);
    }
    return valid;
}

/// The slots that so many keys play after a restart.
std::vector<u32> Walk(SampleCycle::Direction direction, const SampleCycle::Slots& valid, u32 current,
                      int steps) {
    SampleCycle cycle;
    std::vector<u32> walk;
    for (int i = 0; i < steps; ++i) {
        current = cycle.Choose(direction, current, i == 0, valid).next.value_or(current);
        walk.push_back(current);
    }
    return walk;
}

TEST(SampleCycle, EachDirectionWalksOverTheValidSlotsAlone) {
    const auto three = Valid({2, 5, 9});
    EXPECT_EQ(Walk(SampleCycle::Upward, three, 7, 5), (std::vector<u32>{2, 5, 9, 2, 5}));
    EXPECT_EQ(Walk(SampleCycle::Downward, three, 7, 5), (std::vector<u32>{9, 5, 2, 9, 5}));
    EXPECT_EQ(Walk(SampleCycle::UpAndDown, three, 7, 8), (std::vector<u32>{2, 5, 9, 5, 2, 5, 9, 5}));
    EXPECT_EQ(Walk(SampleCycle::UpAndDown, Valid({0, 1, 11}), 4, 7),
              (std::vector<u32>{0, 1, 11, 1, 0, 1, 11}));
    for (u32 direction = 0; direction < SampleCycle::DirectionCount; ++direction) {
        EXPECT_EQ(Walk(static_cast<SampleCycle::Direction>(direction), Valid({6}), 3, 4),
                  std::vector<u32>(4, 6))
            << "the only valid slot, direction " << direction;
    }
}

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
    const auto valid = Valid({1, 4, 7, 8, 10});
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
