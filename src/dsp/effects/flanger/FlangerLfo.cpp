// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/flanger/FlangerLfo.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = FlangerControls;

/// How fast a lag behind the song is made up for.
constexpr double pullSeconds = 0.25;
constexpr double fastestPullHz = 1.0;

} // namespace

void FlangerLfo::Prepare(float sampleRate) {
    lfo.Prepare(sampleRate);
    quadSeconds = 4.0 / static_cast<double>(sampleRate);
}

void FlangerLfo::Reset() {
    lfo.Reset();
    counter = {};
    pullHz = 0.0F;
}

void FlangerLfo::Follow(double phase, float hz) {
    double lag = phase - counter.phase;
    lag -= std::round(lag);
    // It may wait for the song, but not run backwards.
    pullHz = static_cast<float>(
        std::clamp(lag / pullSeconds, -std::min(static_cast<double>(hz), fastestPullHz), fastestPullHz));
}

void FlangerLfo::Advance(float hz) {
    const float pulled = std::clamp(hz + pullHz, 0.0F, FlangerSettings::fastestHz + 1.0F);
    lfo.Advance(pulled);
    counter.Advance(static_cast<double>(pulled) * quadSeconds);
}

Float4 FlangerLfo::Value(const FlangerControls& controls) const {
    const auto& weights = controls[Controls::Shapes].value;
    const float right = controls[Controls::Motion].value[Controls::StereoPhase];
    Float4 value = lfo.Value(weights, {0.0F, right, 0.0F, 0.0F}, 0.0F);
    if (weights[ChorusLfo::Random] != 0.0F) {
        // Each lane has a random walk of its own: the right side follows that of the left.
        const Float4 follower = lfo.Value(weights, Float4(right), 0.0F);
        value = Float4{value.get(0), follower.get(0), 0.0F, 0.0F};
    }
    const float bend = controls[Controls::Hand].value[Controls::Bend];
    if (bend != 0.0F) {
        const Float4 unit = 0.5F * value + 0.5F;
        value += bend * (2.0F * unit * unit - 1.0F - value);
    }
    return value;
}

} // namespace Velmora::dsp
