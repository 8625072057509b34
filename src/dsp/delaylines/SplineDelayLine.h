// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/QuadRing.h"

#include <array>

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
        const auto [a, b, c, d, f] = ring.TapAt(delays, pointsToHead);
        // The piece of the spline between c and b, as a polynomial of the way from c.
        const Float4 outer = d + b;
        const Float4 cubic = (a - d) * (1.0F / 3.0F) + (c - b);
        const Float4 quadratic = outer - (c + c);
        return (outer + c * 4.0F) + f * 3.0F * ((b - d) + f * (quadratic + f * cubic));
    }

    /// Appends four samples, which must be finite.
    void Write(Float4 samples);

    /// Nothing but zeros is kept: taps are zero, and to write more of them changes nothing.
    bool IsSilent() const { return silentFrames >= ring.Size() + historySize; }

private:
    /// From the first slot of the next quad of coefficients to the oldest point of a tap without delay.
    static constexpr u32 pointsToHead = reach + Float4::size - 2;
    static constexpr u32 historySize = 2 * reach + Float4::size;

    /// Sixths of the coefficients, up to those of the samples two quads back.
    QuadRing ring;
    /// The last samples.
    alignas(16) std::array<float, historySize> history{};
    /// Since the last sample that was not zero.
    u32 silentFrames = 0;
};

} // namespace Velmora::dsp
