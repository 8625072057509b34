// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orphia::bench {

/// Of many blocks, in parts of the time that a block lasts.
struct Distribution {
    explicit Distribution(std::vector<float> unordered);

    /// What this part of the blocks stays within: 0.5 for the median, 1 for the worst.
    float Within(double part) const;
    std::size_t CountFrom(float low, float high) const;

    /// In order of size.
    std::vector<float> shares;
};

/// The same playing several times: keys, wheels and effect types change all the time.
struct BlockTimes {
    struct Run {
        /// By the clock, and what the thread really ran, without the times at which others had the
        /// processor.
        Distribution clock;
        Distribution processor;
    };
    std::vector<Run> runs;
    /// Of each block the least that any run took by the clock. A machine that stands still does so
    /// elsewhere each time; what a block itself costs, it costs in all runs.
    std::vector<float> least;
};

/// Throws std::runtime_error when the runs do not give the same sound.
BlockTimes MeasureBlocks(std::uint32_t rate, double seconds, unsigned runs);

} // namespace orphia::bench
