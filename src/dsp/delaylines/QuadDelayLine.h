// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/AlignedBuffer.h"
#include "dsp/vectors/LaneTranspose.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <bit>
#include <cstdint>

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
    void Allocate(u32 longestDelay) {
        const u32 size = std::bit_ceil(longestDelay + spare);
        mask = size - 1;
        ring.assign(size + Float4::size, 0.0F);
        writeIndex = 0;
    }

    void Clear() { std::fill(ring.begin(), ring.end(), 0.0F); }

    Float4 Read(u32 delay) const { return Load(writeIndex - delay); }

    /// Delays on a straight line, one per frame, that need not be whole.
    Float4 ReadBetween(Float4 delays) const {
        const Int4 whole = xsimd::to_int(delays);
        const Float4 f = delays - xsimd::to_float(whole);
        // The oldest to the newest of the points of each frame.
        Float4 a;
        Float4 b;
        Float4 c;
        Float4 d;
        if (whole.get(0) == whole.get(3)) {
            const u32 oldest = Oldest(0, whole.get(0));
            a = Load(oldest);
            b = Load(oldest + 1);
            c = Load(oldest + 2);
            d = Load(oldest + 3);
        } else {
            a = Load(Oldest(0, whole.get(0)));
            b = Load(Oldest(1, whole.get(1)));
            c = Load(Oldest(2, whole.get(2)));
            d = Load(Oldest(3, whole.get(3)));
            simd::Transpose(a, b, c, d);
        }
        const Float4 before = f - 1.0F;
        const Float4 inner = f * before * (1.0F / 6.0F);
        const Float4 outer = (f + 1.0F) * (f - 2.0F) * 0.5F;
        return (a * (f + 1.0F) - d * (f - 2.0F)) * inner + (c * before - b * f) * outer;
    }

    void Write(Float4 samples) {
        samples.store_aligned(ring.data() + writeIndex);
        if (writeIndex == 0) {
            samples.store_aligned(ring.data() + mask + 1);
        }
        writeIndex = (writeIndex + 4) & mask;
    }

private:
    /// For the quad that is written and the points behind the tap.
    static constexpr u32 spare = 8;
    using Int4 = xsimd::batch<std::int32_t, simd::BaselineArch>;

    u32 Oldest(u32 frame, std::int32_t delay) const {
        return writeIndex + frame - static_cast<u32>(delay) - 2;
    }
    Float4 Load(u32 slot) const { return Float4::load_unaligned(ring.data() + (slot & mask)); }

    /// A power of two long, followed by a copy of its first quad.
    AlignedBuffer ring = AlignedBuffer(8, 0.0F);
    u32 mask = 3;
    u32 writeIndex = 0;
};

} // namespace Velmora::dsp
