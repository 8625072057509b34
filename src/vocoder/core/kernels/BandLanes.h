// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

/// What the kernels work on: sixteen bands side by side, one per lane.
namespace Velmora::Processor {

inline constexpr u32 bandCount = 16;
inline constexpr u32 stageCount = 2;

/// Two cascaded biquads for each of sixteen channels, one channel per lane; group g of four lanes holds
/// channels 4g to 4g + 3. Single precision. The stage gain stands on the feed-forward sum and is folded into
/// b0, b1, b2. The output history of stage 1 is the input history of stage 2.
///
/// The recursion y = feed-forward - a1 y1 - a2 y2 runs on the step e = y - y1 instead of on y:
///     e = feed-forward - (1 + a1 + a2) y2 + (-1 - a1) e1,   y = y1 + e.
/// The same filter, but far below the sampling rate, where a1 nears -2 and a2 nears 1, neither the rounding
/// of the coefficients nor that of y moves the response (Middleton and Goodwin's delta operator).
struct alignas(64) BiquadLanes {
    float b0[stageCount][bandCount] = {};
    float b1[stageCount][bandCount] = {};
    float b2[stageCount][bandCount] = {};
    /// 1 + a1 + a2.
    float pull[stageCount][bandCount] = {};
    /// -1 - a1.
    float carry[stageCount][bandCount] = {};
    /// Input, then the output of each stage, one and two samples ago.
    float past1[stageCount + 1][bandCount] = {};
    float past2[stageCount + 1][bandCount] = {};
    /// The last step of each stage.
    float step[stageCount][bandCount] = {};
};

/// Sixteen rectifier followers, one per lane. Every constant factor on the way from the rectifier to the
/// control voltage is folded into the rectifier's gains and the bias.
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

/// The amplifiers of the sixteen bands: the gain of both controls, and the factor of the output.
struct alignas(64) AmplifierLanes {
    float gain[bandCount] = {};
    float scale[bandCount] = {};
};

/// A short stretch of all sixteen bands with the bands side by side, so that a recursion runs on vectors of
/// bands: as much as stays in the nearest cache, and a millisecond at the usual rates. Modules exchange one
/// buffer per band; tiles turn them over, 4 x 4 samples at a time.
struct alignas(64) LaneTile {
    static constexpr u32 maxFrames = 48;
    float samples[maxFrames][bandCount];

    float* Data() { return samples[0]; }
};

} // namespace Velmora::Processor
