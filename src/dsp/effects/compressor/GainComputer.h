// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

/// The static curve of a compressor in decibels: nothing below the threshold, a part of what exceeds it
/// above, and a parabola between the two over the width of the knee.
class GainComputer {
public:
    /// Knees that are narrower than this (dB) are hard.
    static constexpr float narrowestKnee = 1e-6F;

    /// threshold in dB; inverseRatio 0 (a limiter) to 1 (no reduction); kneeWidth in dB, 0 for a hard knee.
    GainComputer(float threshold, float inverseRatio, float kneeWidth);

    /// Replaces levels, finite and 0 or above, by the reduction (dB, 0 or above) that they call for. The
    /// count is a multiple of 4.
    void LevelsToReductions(float* values, u32 count) const;

    /// Replaces reductions in dB by gains; at most limit is reduced. The count is a multiple of 4.
    static void ReductionsToGains(float* values, u32 count, float limit);

    /// A factor that gives back 0.7071 of the decibels by which a signal of full scale is reduced.
    float Makeup() const;

private:
    float threshold;
    /// The part of an overshoot that is taken away.
    float slope;
    float kneeWidth;
    /// Of the parabola; 0 for a hard knee.
    float curvature;
};

} // namespace Velmora::dsp
