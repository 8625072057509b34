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

/// Delays one channel by whole samples. A new delay is faded to, so that the pitch stays; a delay that
/// changes on and on is caught up with after each fade.
class SteadyDelay {
public:
    /// In samples. Allocates and clears; one fade takes fadeFrames.
    void Allocate(u32 longestDelay, u32 fadeFrames) {
        ring.SetLongestDelay(longestDelay);
        fadeStep = 1.0F / static_cast<float>(fadeFrames);
        Clear();
    }
    /// The delay asked for last is in force.
    void Clear() {
        ring.Clear();
        present = next = wanted;
        fade = 1.0F;
    }
    /// At most the longest delay.
    void SetDelay(u32 samples) { wanted = samples; }

    float Tick(float in) {
        ring.Push(in);
        if (present == wanted && present == next) {
            return ring.Back(present + 1);
        }
        return TickFading();
    }

private:
    float TickFading() {
        if (present == next) {
            next = wanted;
            fade = 0.0F;
        }
        fade += fadeStep;
        const float old = ring.Back(present + 1);
        const float young = ring.Back(next + 1);
        if (fade >= 1.0F) {
            present = next;
            return young;
        }
        return old + (young - old) * fade;
    }

    DelayRing ring;
    u32 present = 0;
    u32 next = 0;
    u32 wanted = 0;
    float fade = 1.0F;
    float fadeStep = 1.0F;
};

} // namespace Velmora::dsp
