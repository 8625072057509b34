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
    /// Of a low-pass, b0 (1, 2, 1), or of a band-pass, b0 (1, 0, -1).
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

/// Zeros at half the rate of the filters behind a rectifier: one of the one-pole, two of the biquad.
inline constexpr u32 zeroCount = 3;

/// Sixteen rectifier followers, one per lane. Every constant factor on the way from the rectifier to the
/// control voltage is folded into the rectifier's gains and the bias, and the zeros of both low-passes stand
/// in front of them, where they cost single precision only.
///
/// Double precision after that: the corners lie so low that single precision would miss the circuit's
/// response at high sample rates, and a release of 30 s would stall short of its target. The biquad runs on
/// its step, as BiquadLanes does, so that it comes to rest on a still input; its last value never goes round:
///     step = input - (1 + a1 + a2) out + a2 step,   out = out + step.
struct alignas(64) RectifierLanes {
    float gainPositive[bandCount] = {};
    float gainNegative[bandCount] = {};
    /// What stands on the input of the one-pole, behind its zero.
    float bias[bandCount] = {};
    /// Feedback of the one-pole.
    double poleCarry[bandCount] = {};
    double pull[bandCount] = {};
    double carry[bandCount] = {};

    /// The last input of each zero.
    float past[zeroCount][bandCount] = {};
    double pole[bandCount] = {};
    double out[bandCount] = {};
    double step[bandCount] = {};
    double envelope[bandCount] = {};

    /// Per-sample coefficients of the attack and release smoothers, common to all lanes.
    double attackCoefficient = 0.0;
    double releaseCoefficient = 0.0;
};

/// The amplifiers of the sixteen bands: the gain of both controls, negative where an amplifier inverts.
struct alignas(64) AmplifierLanes {
    float gain[bandCount] = {};
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
