// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace Velmora::dsp {

/// A ring of samples whose cells are addressed by their age: 1 is the newest, longestDelay + 1 the oldest
/// that is surely kept.
class DelayRing {
public:
    /// Allocates; all cells are 0.
    void SetLongestDelay(u32 samples) {
        cells.assign(std::bit_ceil(samples + 1), 0.0F);
        mask = static_cast<u32>(cells.size()) - 1;
    }
    void Clear() { std::fill(cells.begin(), cells.end(), 0.0F); }
    void Push(float value) { cells[writeIndex++ & mask] = value; }
    float& Back(u32 age) { return cells[(writeIndex - age) & mask]; }
    /// Four cells in the order of time, from the given age on; null where the ring wraps between them.
    float* FourFrom(u32 age) {
        const u32 at = (writeIndex - age) & mask;
        return at + 3 <= mask ? &cells[at] : nullptr;
    }

private:
    std::vector<float> cells = std::vector<float>(1, 0.0F);
    u32 mask = 0;
    /// Runs on; wrapped where the ring is accessed.
    u32 writeIndex = 0;
};

} // namespace Velmora::dsp
