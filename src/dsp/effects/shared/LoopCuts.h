// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/FeedbackLimits.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/math/CornerAngle.h"
#include "dsp/vectors/Simd.h"
#include "dsp/vectors/TransposeRows.h"

#include <algorithm>
#include <cmath>
#include <numbers>

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
    static Float4 Coefficients(float lowHz, float highHz, float sampleRate) {
        // A control position need not hit an end of its range exactly.
        constexpr float nearly = 0.0005F;
        return {StepOf(lowHz, sampleRate), lowHz > lowestHz * (1.0F + nearly) ? 1.0F : 0.0F,
                StepOf(highHz, sampleRate), highHz < highestHz * (1.0F - nearly) ? 1.0F : 0.0F};
    }

    void Clear() { lowState = highState = Float4(0.0F); }
    bool IsAtRest() const { return xsimd::all(lowState == Float4(0.0F) && highState == Float4(0.0F)); }

    /// Filters both channels of a sound, and gives what goes into the loop.
    StereoQuad Run(const Float4& coefficients, StereoQuad& sound) {
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
        StereoQuad loop = sound;
        TransposeRows(sound.left, sound.right, loop.left, loop.right);
        filter(sound.left);
        filter(sound.right);
        filter(loop.left);
        filter(loop.right);
        TransposeRows(sound.left, sound.right, loop.left, loop.right);
        highState = WithoutTail(high);
        lowState = WithoutTail(low);
        return loop;
    }

private:
    /// Of a trapezoidal integrator in its loop; the tangent puts the corner where it belongs at any rate.
    static float StepOf(float hz, float sampleRate) {
        const float t =
            std::tan(std::numbers::pi_v<float> * std::min(hz / sampleRate, highestCornerShare<float>));
        return t / (1.0F + t);
    }

    Float4 lowState = Float4(0.0F);
    Float4 highState = Float4(0.0F);
};

} // namespace Velmora::dsp
