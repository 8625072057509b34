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
    approach = 1.0F - std::exp(-quad / (softSeconds * sampleRate));
}

void DelayGlide::Aim(u32 index, u32 samples) {
    if (goals[index] != samples) {
        goals[index] = samples;
        targets[index] = static_cast<float>(samples);
        gliding = true;
    }
}

void DelayGlide::Jump() {
    runners = starts = ends = targets;
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
    Float4 runner = Float4::load_aligned(&runners[first]);
    const Float4 way = target - runner;
    const Float4 bounded = runner + xsimd::min(xsimd::max(way, -most), most);
    runner = xsimd::select(xsimd::abs(way) <= most, target, bounded);
    const Float4 moved = before + (runner - before) * approach;
    const auto arrives = xsimd::abs(target - moved) < Float4(negligible);
    const Float4 after = xsimd::select(arrives && runner == target, target, moved);
    runner.store_aligned(&runners[first]);
    before.store_aligned(&starts[first]);
    after.store_aligned(&ends[first]);
    return xsimd::all(before == target);
}

} // namespace Velmora::dsp
