// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <bitset>
#include <optional>

namespace Velmora::Processor {

/// Chooses which of twelve slots plays next when each key moves on to another one. Only valid slots are
/// chosen: those that name a loaded sample.
class SampleCycle {
public:
    static constexpr u32 slotCount = 12;
    using Slots = std::bitset<slotCount>;

    enum Direction : u32 { Upward, Downward, UpAndDown, Random, DirectionCount };

    struct Choice {
        /// The slot that plays next; without a value it stays as it is.
        std::optional<u32> next;
        /// Going up and down found no slot at all: the slot now playing becomes slot 0.
        bool foundNothing = false;
    };

    /// `current` is the slot chosen last, below slotCount; a restart begins at the first one instead.
    Choice Choose(Direction direction, u32 current, bool restart, const Slots& valid);
    /// The next way up and down begins upward.
    void ClearTurn() { movesDown = false; }
    /// Makes random choices reproducible.
    void SeedRandom(u32 seed);

private:
    Choice ChooseUpAndDown(u32 current, bool restart, const Slots& valid);
    Choice ChooseRandom(const Slots& valid);

    bool movesDown = false;
    u32 randomState = 0x9E3779B9U;
};

} // namespace Velmora::Processor
