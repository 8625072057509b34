// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/QuarterTurnSine.h"
#include "dsp/vectors/Simd.h"

namespace Velmora::dsp {

/// As far as the corner of a filter goes, as a share of the sample rate.
template <class T>
inline constexpr T highestCornerShare = T(0.49);

/// The corner frequency in Hz that a filter is really given: at most 0.49 of the rate, as a section whose
/// corner is above half of it blows up.
constexpr double LimitCorner(double hz, double sampleRate) {
    const double highest = highestCornerShare<double> * sampleRate;
    return hz > highest ? highest : hz;
}

/// Sine and cosine of pi times corner over sample rate, four corners at a time. Their quotient is the gain of
/// a trapezoidal integrator whose filter has its corner exactly there.
struct CornerAngle {
    simd::Float4 sine;
    simd::Float4 cosine;

    /// Corners as octaves above 1 Hz, held to 10 Hz and to 0.49 of the sample rate; what is not a number
    /// becomes the lowest.
    static CornerAngle Of(simd::Float4 octaves, float sampleRate) {
        using simd::Float4;
        constexpr float lowest = 3.321928F;
        constexpr float highest = 18.0F;
        // The second operand is the one that comes through when the first is not a number.
        const Float4 held = xsimd::min(xsimd::max(octaves, Float4(lowest)), Float4(highest));
        const Float4 turns =
            xsimd::min(xsimd::exp2(held) * (2.0F / sampleRate), Float4(2.0F * highestCornerShare<float>));
        return {QuarterTurnSine(turns), QuarterTurnSine(1.0F - turns)};
    }
};

} // namespace Velmora::dsp
