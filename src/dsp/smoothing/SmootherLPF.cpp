// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/smoothing/SmootherLPF.h"

#include <algorithm>

namespace Velmora::dsp {

void SmootherLPF::Prepare() {
    const double d = std::exp(-5.0 / (sampleRate * time) * decimation);
    coefficient = 1.0 - d;
    inverseCoefficient = 1.0 / (1.0 - d);
    decayFour = d * d * d * d;
}

void SmootherLPF::Prepare(float rate, u32 samplesPerTick) {
    sampleRate = rate;
    decimation = samplesPerTick;
    Prepare();
}

void SmootherLPF::RenderBlock(float* out, u32 count) {
    if (current == target) {
        std::fill_n(out, count, static_cast<float>(target));
        return;
    }
    const double d = 1.0 - coefficient;
    const double negligible = d * epsilon * inverseCoefficient;
    const double distance = target - current;
    double terms[4] = {distance * d, distance * d * d, distance * d * d * d, distance * decayFour};
    for (u32 n = 0; n < count; n += 4) {
        for (u32 lane = 0; lane < 4; ++lane) {
            // A term that is not a number fails the comparison too, and the smoother is sound again.
            const double term = std::abs(terms[lane]) >= negligible ? terms[lane] : 0.0;
            current = target - term;
            out[n + lane] = static_cast<float>(current);
            terms[lane] *= decayFour;
        }
    }
}

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
