// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/LoopSamples.h"
#include "dsp/vectors/LaneTranspose.h"

namespace Velmora::dsp {

/// Low cut and high cut of the wet sound of a stereo effect, both of first order. What is heard may leave
/// them out at the ends of their ranges; what is fed back always loses its DC, or it would pile up.
class LoopCuts {
public:
    using Float4 = simd::Float4;

    static constexpr float lowestHz = 20.0F;
    static constexpr float highestHz = 20000.0F;

    /// Steps of the two filters, and how far each is let in: numbers that may glide.
    enum Lane : u32 { LowStep, LowShare, HighStep, HighShare };

    /// The lanes for two corners. At lowestHz and at highestHz the filter is out.
    static Float4 Coefficients(float lowHz, float highHz, float sampleRate);

    void Clear() { lowState = highState = Float4(0.0F); }

    /// Filters a quad of both channels with the same coefficients, and gives what goes into the loop.
    void Run(const Float4& coefficients, Float4& left, Float4& right, Float4& loopLeft, Float4& loopRight) {
        const Float4 lowStep(coefficients.get(LowStep));
        const Float4 highStep(coefficients.get(HighStep));
        const Float4 highShare(coefficients.get(HighShare));
        const float share = coefficients.get(LowShare);
        const Float4 lowShare{share, share, 1.0F, 1.0F};
        Float4 high = highState;
        Float4 low = lowState;
        const auto filter = [&](Float4& frame) {
            const Float4 highWay = (frame - high) * highStep;
            const Float4 dark = high + highWay;
            high = dark + highWay;
            const Float4 cut = frame + highShare * (dark - frame);
            const Float4 lowWay = (cut - low) * lowStep;
            const Float4 deep = low + lowWay;
            low = deep + lowWay;
            frame = cut - lowShare * deep;
        };
        // The four of a frame side by side.
        loopLeft = left;
        loopRight = right;
        simd::Transpose(left, right, loopLeft, loopRight);
        filter(left);
        filter(right);
        filter(loopLeft);
        filter(loopRight);
        simd::Transpose(left, right, loopLeft, loopRight);
        highState = WithoutTail(high);
        lowState = WithoutTail(low);
    }

private:
    Float4 lowState = Float4(0.0F);
    Float4 highState = Float4(0.0F);
};

} // namespace Velmora::dsp
