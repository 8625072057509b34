// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "dsp/vectors/TransposeRows.h"
#include "dsp/vectors/ZeroedBuffer.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace Velmora::dsp {

/// A ring of samples that is written in quads and read anywhere: what the delay lines with taps between the
/// samples have in common.
class QuadRing {
public:
    using Float4 = simd::Float4;

    /// A tap of four frames: the four points next to it, oldest first, and its distance from the third of
    /// them towards the older ones, 0 to below 1.
    struct Tap {
        Float4 a;
        Float4 b;
        Float4 c;
        Float4 d;
        Float4 f;
    };

    /// Allocates so many samples at least, and clears.
    void Allocate(u32 samples) {
        const u32 size = std::bit_ceil(samples);
        if (size == Size()) {
            Clear();
            return;
        }
        mask = size - 1;
        ring = ZeroedBuffer(size + Float4::size);
        writeIndex = 0;
        isFilled = false;
    }

    /// What was never written is not touched.
    void Clear() {
        if (Written() != 0) {
            std::fill_n(ring.data(), Written(), 0.0F);
            std::fill_n(ring.data() + Size(), Float4::size, 0.0F);
        }
        writeIndex = 0;
        isFilled = false;
    }

    /// How many samples it keeps.
    u32 Size() const { return mask + 1; }

    /// Whether so many of the newest samples, in whole quads, are zeros, or all where there are not so many.
    bool IsSilent(u32 samples) const {
        const u32 newest = std::min(samples, Written());
        for (u32 age = Float4::size; age <= newest; age += Float4::size) {
            if (xsimd::any(Read(age) != Float4(0.0F))) {
                return false;
            }
        }
        return true;
    }

    /// Four neighbours from a delay on, counted back from the quad that is written next.
    Float4 Read(u32 delay) const { return Load(writeIndex - delay); }

    /// The delays lie on a straight line, one a frame; the oldest point of the first frame at a delay of 0
    /// would lie so far behind the quad that is written next.
    Tap TapAt(Float4 delays, u32 oldestAhead) const {
        const Int4 whole = xsimd::to_int(delays);
        const auto oldest = [&](u32 frame) {
            return writeIndex + oldestAhead + frame - static_cast<u32>(whole.get(frame));
        };
        Tap tap;
        if (whole.get(0) == whole.get(3)) {
            tap.a = Load(oldest(0));
            tap.b = Load(oldest(0) + 1);
            tap.c = Load(oldest(0) + 2);
            tap.d = Load(oldest(0) + 3);
        } else {
            tap.a = Load(oldest(0));
            tap.b = Load(oldest(1));
            tap.c = Load(oldest(2));
            tap.d = Load(oldest(3));
            TransposeRows(tap.a, tap.b, tap.c, tap.d);
        }
        tap.f = delays - xsimd::to_float(whole);
        return tap;
    }

    void Write(Float4 samples) {
        samples.store_aligned(ring.data() + writeIndex);
        if (writeIndex == 0) {
            samples.store_aligned(ring.data() + mask + 1);
        }
        writeIndex = (writeIndex + Float4::size) & mask;
        isFilled = isFilled || writeIndex == 0;
    }

private:
    using Int4 = xsimd::batch<std::int32_t, simd::BaselineArch>;

    /// Samples since it was cleared, as far as they are kept.
    u32 Written() const { return isFilled ? Size() : writeIndex; }

    Float4 Load(u32 slot) const { return Float4::load_unaligned(ring.data() + (slot & mask)); }

    /// A power of two long, followed by a copy of its first quad.
    ZeroedBuffer ring = ZeroedBuffer(8);
    u32 mask = 3;
    u32 writeIndex = 0;
    bool isFilled = false;
};

} // namespace Velmora::dsp
