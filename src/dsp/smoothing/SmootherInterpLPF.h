// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/SmootherLPF.h"

namespace Velmora::dsp {

/// A linear ramp of `interpSteps` ticks, followed by an exponential approach to that ramp: no corner where
/// a new target arrives.
class SmootherInterpLPF : public SmootherLPF {
public:
    float Next() override;
    void SetTarget(float v) override;
    void Set(float v) override;
    void Reset(float currentValue, float targetValue) override;

    /// Renders count ticks into out.
    void RenderBlock(float* out, u32 count);

    /// Sets the length of the ramp in ticks, with its reciprocal.
    void SetInterpSteps(u32 steps);

    u32 interpSteps = 0;
    double inverseInterpSteps = 0.0;
    u32 interpCounter = 0;
    double interpIncrement = 0.0;
    /// The output of the linear stage.
    double interpValue = 0.0;

private:
    u32 LastInterpStep() const { return interpSteps == 0 ? 0 : interpSteps - 1; }
};

} // namespace Velmora::dsp
