// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/DelayRing.h"
#include "dsp/vectors/Simd.h"

namespace Velmora::dsp {

/// Delays a gain and draws each fall of it back over the delay in a straight line, so that a gain is fully
/// down when audio that is as much delayed brings what called for it.
class LookaheadGain {
public:
    /// Allocates.
    void SetLongestDelay(u32 samples) { ring.SetLongestDelay(samples); }
    /// The ring then tells of no gain at all, so that a fall fades in what follows.
    void Clear() { ring.Clear(); }

    /// Replaces the gains by those of `delay` frames ago, 1 to the longest delay.
    void Delay(float* gains, u32 count, u32 delay) {
        for (u32 n = 0; n < count; ++n) {
            const float gain = gains[n];
            const bool falls = gain < ring.Back(1);
            ring.Push(gain);
            gains[n] = ring.Back(delay + 1);
            if (falls) {
                DrawBack(gain, gains[n], delay);
            }
        }
    }

private:
    using Float4 = simd::Float4;

    /// From the newest gain towards the oldest, which has just been used. What is already lower belongs to an
    /// earlier, deeper fall and stays, and so does all before it.
    void DrawBack(float gain, float oldest, u32 delay) {
        const float slope = (oldest - gain) / static_cast<float>(delay);
        for (u32 age = 2; age <= delay; age = DrawBackByFours(age + 1, gain, slope, delay)) {
            const float line = gain + static_cast<float>(age - 1) * slope;
            float& kept = ring.Back(age);
            if (kept <= line) {
                return;
            }
            kept = line;
        }
    }

    /// Goes on as long as all of four neighbours are above the line; returns the first age that is left.
    u32 DrawBackByFours(u32 age, float gain, float slope, u32 delay) {
        Float4 passed = Float4(static_cast<float>(age - 1)) + Float4{3.0F, 2.0F, 1.0F, 0.0F};
        for (; age + 3 <= delay; age += 4) {
            float* cells = ring.FourFrom(age + 3);
            const Float4 line = Float4(gain) + passed * Float4(slope);
            if (cells == nullptr || !xsimd::all(Float4::load_unaligned(cells) > line)) {
                break;
            }
            line.store_unaligned(cells);
            passed += Float4(4.0F);
        }
        return age;
    }

    DelayRing ring;
};

} // namespace Velmora::dsp
