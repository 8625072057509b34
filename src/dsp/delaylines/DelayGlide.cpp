// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/delaylines/DelayGlide.h"

#include <cmath>

namespace Velmora::dsp {

namespace {

constexpr float softSeconds = 0.04F;
/// In samples: a step that is not heard.
constexpr float negligible = 1e-3F;

} // namespace

void DelayGlide::Prepare(float sampleRate) {
    constexpr auto quad = static_cast<float>(Float4::size);
    decay = std::exp(-quad / (softSeconds * sampleRate));
}

void DelayGlide::GlideTo(u32 index, u32 samples) {
    if (goals[index] != samples) {
        goals[index] = samples;
        targets[index] = static_cast<float>(samples);
        gliding = true;
    }
}

void DelayGlide::Arrive() {
    runners = starts = ends = targets;
    lags.fill(0.0F);
    gliding = false;
}

void DelayGlide::Step() {
    bool rests = true;
    for (u32 first = 0; first < count; first += Float4::size) {
        rests = StepQuad(first) && rests;
    }
    gliding = !rests;
}

/// True when the four have arrived before this step.
bool DelayGlide::StepQuad(u32 first) {
    const Float4 most = Float4::load_aligned(&steps[first]);
    const Float4 target = Float4::load_aligned(&targets[first]);
    const Float4 before = Float4::load_aligned(&ends[first]);
    const Float4 from = Float4::load_aligned(&runners[first]);
    const Float4 way = target - from;
    const Float4 bounded = from + xsimd::min(xsimd::max(way, -most), most);
    const Float4 runner = xsimd::select(xsimd::abs(way) <= most, target, bounded);
    const Float4 left = (Float4::load_aligned(&lags[first]) + (runner - from)) * decay;
    const auto arrives = xsimd::abs(left) < Float4(negligible) && runner == target;
    const Float4 lag = xsimd::select(arrives, Float4(0.0F), left);
    runner.store_aligned(&runners[first]);
    lag.store_aligned(&lags[first]);
    before.store_aligned(&starts[first]);
    (runner - lag).store_aligned(&ends[first]);
    return xsimd::all(before == target);
}

} // namespace Velmora::dsp
