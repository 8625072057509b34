// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/AlignedBuffer.h"
#include "dsp/vectors/LaneTranspose.h"
#include "support/platform/Types.h"

#include <array>
#include <cstdint>

namespace Velmora::dsp {

/// A delay line of one channel with taps at gliding delays. Between its samples runs the cubic spline
/// through them, which follows a moving tap without corners and keeps the treble: 0.2 dB are lost at 10 kHz
/// and a rate of 44100 Hz, half way between two samples. The line holds the coefficients of the spline, so
/// that the filter that makes them from samples runs once per sample and not once per tap.
///
/// It works in quads: taps of four frames are read, then four frames are written.
class SplineDelayLine {
public:
    using Float4 = simd::Float4;

    /// Samples to either side that the coefficient filter takes in: what lies beyond weighs below 1e-3 each.
    static constexpr u32 reach = 4;
    /// In samples: a tap of the last frame of a quad needs no coefficient that is not there before the quad.
    static constexpr float shortestDelay = 13.0F;

    /// Allocates room for delays up to longestDelay samples, and clears.
    void Allocate(u32 longestDelay);
    void Clear();

    /// A tap in the four frames of the quad that is written next. The delays, in samples from shortestDelay
    /// to the longest, lie on a straight line.
    Float4 ReadTap(Float4 delays) const {
        const Int4 whole = xsimd::to_int(delays);
        const Float4 f = delays - xsimd::to_float(whole);
        // First to fourth point of each of the frames, oldest first.
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
        // The piece of the spline between c and b, as a polynomial of the way from c.
        const Float4 outer = d + b;
        const Float4 cubic = (a - d) * (1.0F / 3.0F) + (c - b);
        const Float4 quadratic = outer - (c + c);
        return (outer + c * 4.0F) + f * 3.0F * ((b - d) + f * (quadratic + f * cubic));
    }

    /// Appends four samples, which must be finite.
    void Write(Float4 samples);

private:
    using Int4 = xsimd::batch<std::int32_t, simd::BaselineArch>;
    /// From the first slot of the next quad of coefficients to the oldest point of a tap without delay.
    static constexpr u32 pointsToHead = reach + Float4::size - 2;
    static constexpr u32 historySize = 2 * reach + Float4::size;

    /// Slot of the oldest of the four coefficients about the delay of a frame.
    u32 Oldest(u32 frame, std::int32_t delay) const {
        return writeIndex + pointsToHead + frame - static_cast<u32>(delay);
    }
    Float4 Load(u32 slot) const { return Float4::load_unaligned(line.data() + (slot & mask)); }

    /// Sixths of the coefficients. A ring, a power of two long, followed by a copy of its first quad.
    AlignedBuffer line;
    u32 mask = 0;
    /// Where the next quad of coefficients goes: those of the samples two quads back.
    u32 writeIndex = 0;
    /// The last samples.
    alignas(16) std::array<float, historySize> history{};
};

} // namespace Velmora::dsp
