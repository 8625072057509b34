// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/Smoother.h"

#include <cmath>

namespace Velmora::dsp {

/// An exponential approach with five time constants in `time`, within 0.7 % of the target by then. The tail
/// is cut at `epsilon`, so that the target is reached exactly and a held value costs one comparison.
class SmootherLPF : public Smoother<double> {
public:
    SmootherLPF() = default;
    explicit SmootherLPF(double seconds) : time(seconds) {}

    float Next() override { return Step(target); }

    void SetTarget(float v) override {
        if (static_cast<double>(v) != target) {
            target = v;
            epsilon = EpsilonFor(v);
        }
    }

    void Prepare() override;

    /// Sets rate and samples per tick, and prepares.
    void Prepare(float rate, u32 samplesPerTick);

    /// Renders count ticks, a multiple of 4, by the closed form target - D * d^n.
    void RenderBlock(float* out, u32 count);

    /// Below this distance a step jumps to its target.
    static double EpsilonFor(float v) {
        const double scaled = std::abs(static_cast<double>(v)) * 1e-12;
        return scaled > 1e-20 ? scaled : 1e-20;
    }

    /// Seconds; the owner sets it.
    double time = 0.0;
    u32 decimation = 1;
    double sampleRate = 0.0;
    /// 1 - d, with d the decay per tick.
    double coefficient = 0.0;
    /// 1 / (1 - d).
    double inverseCoefficient = 0.0;
    /// d to the fourth.
    double decayFour = 0.0;
    double epsilon = 1e-12;

protected:
    float Step(double towards) {
        const double e = (towards - current) * coefficient;
        if (std::abs(e) >= epsilon) {
            current += e;
        } else {
            current = towards;
        }
        return static_cast<float>(current);
    }
};

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
