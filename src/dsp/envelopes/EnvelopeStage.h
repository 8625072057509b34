// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/FastExponential.h"
#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

/// A timed stage of an envelope: how fast its phase climbs from 0 to 1, and how the progress is bent over it.
struct EnvelopeStage {
    /// Phase per frame.
    float inc = 0.0F;
    float shape = 0.0F;
    /// e^shape - 1; 0 is a linear stage.
    float norm = 0.0F;

    /// Phase per frame of a stage that takes so many frames, atZero for none. No number of frames makes a
    /// stage that never ends.
    static float PhaseStep(float frames, float atZero) {
        constexpr float leastStep = 5.9604645e-08F;
        return frames > 0.0F ? std::max(1.0F / frames, leastStep) : atZero;
    }

    /// -20 to 20. A curve close to 0 counts as 0: its norm would be all rounding error.
    void SetCurve(float curve) {
        constexpr float leastCurve = 0.01F;
        shape = std::abs(curve) >= leastCurve ? curve : 0.0F;
        norm = FastExp(shape) - 1.0F;
    }

    bool IsLinear() const { return norm == 0.0F; }

    /// Progress at a phase, both 0 to 1, of a stage that is not linear. T is float or four of them.
    template <class T>
    T Bend(T phase) const {
        return (FastExp(T(shape) * phase) - T(1.0F)) / T(norm);
    }

    /// The phase at which the progress is that far.
    float PhaseAt(float progress) const {
        return IsLinear() ? progress : FastLog(norm * progress + 1.0F) / shape;
    }

    /// Samples of whole groups of four frames, from sampleAt(frame, progress); returns the phase behind them.
    /// The phase is summed frame by frame, so that the samples do not depend on where blocks begin, and in
    /// double precision: in single, the steps of a stage of many seconds are rounded by whole percents.
    template <class SampleAt>
    double RenderFours(double phase, float* out, u32 frames, SampleAt sampleAt) const {
        if (IsLinear()) {
            return RunFours(phase, out, frames, sampleAt);
        }
        const auto bent = [stage = *this, sampleAt](u32 n, simd::Float4 p) {
            return sampleAt(n, stage.Bend(p));
        };
        return RunFours(phase, out, frames, bent);
    }

private:
    template <class SampleAt>
    double RunFours(double phase, float* out, u32 frames, SampleAt sampleAt) const {
        const auto step = static_cast<double>(inc);
        for (u32 n = 0; n < frames; n += 4) {
            const double p1 = phase + step;
            const double p2 = p1 + step;
            const double p3 = p2 + step;
            const simd::Float4 phases{static_cast<float>(phase), static_cast<float>(p1),
                                      static_cast<float>(p2), static_cast<float>(p3)};
            sampleAt(n, phases).store_unaligned(out + n);
            phase = p3 + step;
        }
        return phase;
    }
};

} // namespace Velmora::dsp
