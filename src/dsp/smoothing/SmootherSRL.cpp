// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/smoothing/SmootherSRL.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

void SmootherSRL::Prepare() { step = span * static_cast<float>(decimation) / (sampleRate * time); }

void SmootherSRL::Retarget(float v) {
    SetTarget(v);
    span = std::abs(v - current);
    Prepare();
}

float SmootherSRL::Next() {
    const float e = target - current;
    if (e == 0.0F) {
        return current;
    }
    if (e > step) {
        current += step;
    } else if (e < -step) {
        current -= step;
    } else {
        // Also where the way is not a number: a broken target must not stay.
        current = target;
    }
    return current;
}

void SmootherSRL::RenderBlock(float* out, u32 count) {
    if (current == target) {
        std::fill_n(out, count, target);
        return;
    }
    if (count == 0) {
        return;
    }
    const float start = current;
    const float distance = std::abs(target - start);
    const float signedStep = target > start ? step : -step;
    for (u32 n = 1; n <= count; ++n) {
        const float ticks = static_cast<float>(n);
        out[n - 1] = ticks * step < distance ? start + ticks * signedStep : target;
    }
    current = out[count - 1];
}

} // namespace Velmora::dsp
