// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "vocoder/core/kernels/BiquadLanes.h"

namespace Velmora::Processor {

/// Sixteen rectifier followers, one per lane: what RectifierFollower does for one band. Two liberties, far
/// below the resolution of the output: every constant factor on the way from the rectifier to the control
/// voltage is folded into the rectifier's gains and the bias, and the envelope runs on in full precision
/// where attack and release hand over to each other as floats.
///
/// Double precision after the rectifier: the corners lie so low that single precision would miss the
/// circuit's response at high sample rates, and a release of 30 s would stall short of its target.
struct alignas(64) RectifierLanes {
    float gainPositive[bandCount] = {};
    float gainNegative[bandCount] = {};
    /// One-pole: the bias that stands on its input, and its feedback.
    double bias[bandCount] = {};
    double poleA1[bandCount] = {};
    /// Feedback of the low-pass biquad; its numerator is 1, 2, 1.
    double a1[bandCount] = {};
    double a2[bandCount] = {};

    double rectified1[bandCount] = {};
    double pole1[bandCount] = {};
    double pole2[bandCount] = {};
    double out1[bandCount] = {};
    double out2[bandCount] = {};
    double envelope[bandCount] = {};

    /// Per-sample coefficients of the attack and release smoothers, common to all lanes.
    double attackCoefficient = 0.0;
    double releaseCoefficient = 0.0;
};

} // namespace Velmora::Processor
