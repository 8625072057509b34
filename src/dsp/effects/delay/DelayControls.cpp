// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/delay/DelayControls.h"

#include "dsp/delaylines/SplineDelayLine.h"

#include <algorithm>
#include <numbers>

namespace Velmora::dsp {

namespace {

constexpr double fastSeconds = 0.01;
constexpr double slowSeconds = 0.05;
/// Saturation at its most: the ceiling lies 12 dB below full scale.
constexpr float strongestBend = 4.0F;

} // namespace

void DelayControls::Prepare(float rate) {
    sampleRate = rate;
    const float longestSeconds = DelaySettings::longestSeconds + DelaySettings::widestWowMs * 0.001F;
    longestDelay = std::max(2.0F * SplineDelayLine::shortestDelay, longestSeconds * rate);
    groups.Prepare(rate, fastSeconds, slowSeconds);
    for (TapeGlide& time : times) {
        time.Prepare(rate);
    }
}

void DelayControls::SetTargets(const DelaySettings& settings) {
    const auto [dry, wet] = EqualPower(settings.mix);
    groups[Mix].GlideTo(
        {dry, wet * 0.5F * (1.0F + settings.width), wet * 0.5F * (1.0F - settings.width), 0.0F});

    const bool gathers = settings.mode == DelaySettings::PingPong;
    // One side then carries the power of both.
    const float share = std::numbers::sqrt2_v<float> * 0.5F;
    groups[Entry].GlideTo(gathers ? Float4{share, share, 0.0F, 0.0F} : Float4{1.0F, 0.0F, 1.0F, 0.0F});

    const bool crosses = settings.mode != DelaySettings::Stereo;
    groups[Loop].GlideTo({crosses ? 0.0F : settings.feedback, crosses ? settings.feedback : 0.0F,
                          settings.saturation * strongestBend, 0.0F});
    groups[Cuts].GlideTo(LoopCuts::Coefficients(settings.lowCutHz, settings.highCutHz, sampleRate));
    SetTimes(settings);
}

void DelayControls::SetTimes(const DelaySettings& settings) {
    constexpr float shortest = SplineDelayLine::shortestDelay;
    const float longest = std::max(shortest, DelaySettings::longestSeconds * sampleRate);
    const float samples = settings.seconds * sampleRate;
    const float left = std::clamp(samples * (1.0F + std::min(settings.offset, 0.0F)), shortest, longest);
    const float right = std::clamp(samples * (1.0F - std::max(settings.offset, 0.0F)), shortest, longest);
    times[0].GlideTo(static_cast<double>(left));
    times[1].GlideTo(static_cast<double>(right));
    const float room = std::min(left, right) - shortest;
    groups[Wow].GlideTo({std::min(settings.wowMs * 0.001F * sampleRate, room), 0.0F, 0.0F, 0.0F});
}

void DelayControls::JumpToTargets() {
    groups.Arrive();
    for (TapeGlide& time : times) {
        time.Arrive();
    }
}

void DelayControls::StepTimes() {
    for (TapeGlide& time : times) {
        time.Step();
    }
}

} // namespace Velmora::dsp
