// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

namespace orphia::test {

/// What a soak did and saw.
struct SoakCounts {
    std::uint64_t blocks = 0;
    /// Of them, those above -80 dBFS.
    std::uint64_t heardBlocks = 0;
    std::uint64_t notes = 0;
    std::uint64_t settings = 0;
    std::uint64_t presets = 0;
    std::uint64_t loadedSamples = 0;
    std::uint64_t refusedSamples = 0;
    std::uint64_t tempos = 0;
    std::uint64_t resets = 0;
    std::uint64_t rates = 0;
    std::size_t mostVoices = 0;
    /// Blocks that held a number that is not finite.
    std::uint64_t badBlocks = 0;
    /// Times that voices still ran, or something was heard, long after the last key was up.
    std::uint64_t stuck = 0;
};

} // namespace orphia::test
