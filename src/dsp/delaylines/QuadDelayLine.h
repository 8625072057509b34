// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/QuadRing.h"

namespace Velmora::dsp {

/// A delay line of one channel in quads of frames, with any number of taps. A tap at a whole delay is the
/// plain sample. Between samples runs the cubic through the four next to the tap (Lagrange): it is exact at
/// whole delays and at no frequency louder than its input, so that it may stand in a loop.
///
/// Delays count back from the quad that is written next, and are at least shortestDelay.
class QuadDelayLine {
public:
    using Float4 = simd::Float4;
    /// In samples: all that a tap needs, its newer neighbour too, is there before the quad is written.
    static constexpr u32 shortestDelay = 5;

    /// Allocates room for delays up to longestDelay samples, and clears.
    void Allocate(u32 longestDelay) { ring.Allocate(longestDelay + spare); }
    void Clear() { ring.Clear(); }

    Float4 Read(u32 delay) const { return ring.Read(delay); }

    /// Delays on a straight line, one per frame, that need not be whole.
    Float4 ReadBetween(Float4 delays) const {
        const auto [a, b, c, d, f] = ring.TapAt(delays, 0U - 2U);
        const Float4 before = f - 1.0F;
        const Float4 inner = f * before * (1.0F / 6.0F);
        const Float4 outer = (f + 1.0F) * (f - 2.0F) * 0.5F;
        return (a * (f + 1.0F) - d * (f - 2.0F)) * inner + (c * before - b * f) * outer;
    }

    void Write(Float4 samples) { ring.Write(samples); }

    /// How many samples it keeps, and whether so many of the newest are zeros.
    u32 Size() const { return ring.Size(); }
    bool IsSilent(u32 samples) const { return ring.IsSilent(samples); }

private:
    /// For the quad that is written and the points behind the tap.
    static constexpr u32 spare = 8;

    QuadRing ring;
};

} // namespace Velmora::dsp
