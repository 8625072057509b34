// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/SplineDelayLine.h"
#include "dsp/vectors/Simd.h"

namespace Velmora::dsp {

/// Up to four delays in samples that move in a straight line through each quad of frames. They are known a
/// quad ahead, so that what swings them does not hold up the taps.
struct SweptDelays {
    using Float4 = simd::Float4;

    /// At the start and at the end of the coming quad.
    Float4 start = Float4(SplineDelayLine::shortestDelay);
    Float4 end = Float4(SplineDelayLine::shortestDelay);

    /// The quad after it ends at `next`, or as near as a line of that length allows.
    void Advance(Float4 next, float longest) {
        start = end;
        end = xsimd::min(xsimd::max(next, Float4(SplineDelayLine::shortestDelay)), Float4(longest));
    }

    /// One of them in each frame.
    Float4 Over(u32 lane) const {
        const Float4 quarters{0.25F, 0.5F, 0.75F, 1.0F};
        const float from = start.get(lane);
        return from + (end.get(lane) - from) * quarters;
    }
};

} // namespace Velmora::dsp
