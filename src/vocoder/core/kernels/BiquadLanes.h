// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace Velmora::Processor {

inline constexpr unsigned bandCount = 16;
inline constexpr unsigned stageCount = 2;

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

} // namespace Velmora::Processor
