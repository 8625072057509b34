// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/smoothing/SmootherInterpLPF.h"

namespace Velmora::dsp {

void SmootherInterpLPF::SetInterpSteps(u32 steps) {
    interpSteps = steps;
    inverseInterpSteps = steps == 0 ? 0.0 : 1.0 / steps;
}

void SmootherInterpLPF::SetTarget(float v) {
    if (static_cast<double>(v) != interpValue) {
        target = v;
        interpCounter = 0;
        epsilon = EpsilonFor(v);
        interpIncrement = (target - interpValue) * inverseInterpSteps;
    }
}

float SmootherInterpLPF::Next() {
    if (interpCounter < LastInterpStep()) {
        interpValue += interpIncrement;
        ++interpCounter;
    } else {
        interpValue = target;
    }
    return Step(interpValue);
}

void SmootherInterpLPF::Set(float v) {
    interpIncrement = 0.0;
    interpCounter = LastInterpStep();
    interpValue = target = current = v;
}

void SmootherInterpLPF::Reset(float currentValue, float targetValue) {
    current = interpValue = currentValue;
    target = targetValue;
    if (currentValue == targetValue) {
        interpCounter = LastInterpStep();
        interpIncrement = 0.0;
        return;
    }
    interpCounter = 0;
    epsilon = EpsilonFor(targetValue);
    interpIncrement = (target - interpValue) * inverseInterpSteps;
}

void SmootherInterpLPF::RenderBlock(float* out, u32 count) {
    for (u32 n = 0; n < count; ++n) {
        out[n] = SmootherInterpLPF::Next();
    }
}

} // namespace Velmora::dsp
