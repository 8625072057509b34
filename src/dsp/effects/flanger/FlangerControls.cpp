// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/flanger/FlangerControls.h"

#include "dsp/delaylines/SplineDelayLine.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/lfo/ChorusLfo.h"
#include "dsp/math/Decibels.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

using simd::Float4;

constexpr double fastSeconds = 0.015;
constexpr double slowSeconds = 0.05;
/// Drive at its most: the ceiling lies 12 dB below full scale.
constexpr float strongestBend = 4.0F;

/// What each shape takes from the oscillator; the even one bends its triangle.
Float4 ShapeWeights(u32 shape) {
    static_assert(ChorusLfo::Sine == 0 && ChorusLfo::Triangle == 1 && ChorusLfo::Random == 3);
    switch (shape) {
    case FlangerSettings::Sine:
        return {1.0F, 0.0F, 0.0F, 0.0F};
    case FlangerSettings::Random:
        return {0.0F, 0.0F, 0.0F, 1.0F};
    default:
        return {0.0F, 1.0F, 0.0F, 0.0F};
    }
}

} // namespace

void FlangerControls::Prepare(float rate) {
    sampleRate = rate;
    const float longestMs =
        FlangerSettings::longestDelayMs + FlangerSettings::deepestMs + FlangerSettings::widestManualMs;
    longestDelay = std::max(3.0F * SplineDelayLine::shortestDelay, longestMs * 0.001F * rate);
    groups.Prepare(rate, fastSeconds, slowSeconds);
}

void FlangerControls::SetTargets(const FlangerSettings& settings) {
    SetLevels(settings);
    SetMotion(settings);
}

void FlangerControls::SetLevels(const FlangerSettings& settings) {
    const auto [dry, share] = EqualPower(settings.mix);
    // The resonances of the loop raise the power by 1 / (1 - feedback^2).
    const float level = std::sqrt(1.0F - settings.feedback * settings.feedback);
    const float gain = DecibelsToGain(settings.wetGainDb) * (settings.inverted ? -level : level);
    const float wet = share * gain;
    groups[Mix].GlideTo({settings.throughZero ? 0.0F : dry, settings.throughZero ? dry : 0.0F,
                         wet * 0.5F * (1.0F + settings.width), wet * 0.5F * (1.0F - settings.width)});
    groups[Loop].GlideTo({settings.feedback, settings.drive * strongestBend, 0.0F, 0.0F});
    groups[Cuts].GlideTo(LoopCuts::Coefficients(settings.lowCutHz, settings.highCutHz, sampleRate));
    groups[Shapes].GlideTo(ShapeWeights(settings.shape));
}

void FlangerControls::SetMotion(const FlangerSettings& settings) {
    constexpr float shortest = SplineDelayLine::shortestDelay;
    const float samplesPerMs = sampleRate * 0.001F;
    float manual = settings.manualMs * samplesPerMs;
    float depth = settings.depthMs * samplesPerMs;
    const float room = longestDelay - shortest;
    const float way = 2.0F * depth + std::abs(manual);
    if (way > room) {
        manual *= room / way;
        depth *= room / way;
    }
    // The way of the taps must lie within the line, and the base itself, where the dry sound is read.
    const float lowest = shortest + std::max(0.0F, depth - manual);
    const float highest = longestDelay - std::max(0.0F, depth + manual);
    const float base = std::min(std::max(settings.delayMs * samplesPerMs, lowest), highest);
    groups[Hand].GlideTo({manual, settings.shape == FlangerSettings::Even ? 1.0F : 0.0F, 0.0F, 0.0F});
    groups[Motion].GlideTo({base, depth, settings.rateHz, settings.stereoPhase});
}

} // namespace Velmora::dsp
