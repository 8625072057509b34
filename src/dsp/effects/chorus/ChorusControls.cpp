// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/chorus/ChorusControls.h"

#include "dsp/delaylines/SplineDelayLine.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/math/Decibels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Velmora::dsp {

namespace {

using simd::Float4;

constexpr double fastSeconds = 0.01;
constexpr double slowSeconds = 0.05;
constexpr float widestDriftMs = 1.5F;
/// Voices that are this far apart add up by power about as much as in phase.
constexpr float coherenceMs = 0.3F;
/// Just below the top: a control position need not hit it exactly.
constexpr float openCutHz = 0.9995F * ChorusSettings::highestCutHz;

/// Ways of the centres at full spread, in shares of the delay; the first voice stays. No two distances are
/// the same, or they would ring.
Float4 SpreadShares() { return {0.0F, 0.42F, -0.29F, 0.73F}; }

Float4 VoiceNumbers() { return {0.0F, 1.0F, 2.0F, 3.0F}; }

/// A step of y += c * (x - y).
float OnePoleCoefficient(float hz, float sampleRate) {
    return 1.0F - std::exp(-2.0F * std::numbers::pi_v<float> * hz / sampleRate);
}

} // namespace

void ChorusControls::Prepare(float rate) {
    sampleRate = rate;
    longestDelay =
        std::max(2.0F * SplineDelayLine::shortestDelay, ChorusSettings::longestDelayMs * 0.001F * rate);
    groups.Prepare(rate, fastSeconds, slowSeconds);
}

void ChorusControls::SetTargets(const ChorusSettings& settings) {
    SetVoices(settings);
    SetLevels(settings);
    SetMotion(settings);
}

void ChorusControls::SetVoices(const ChorusSettings& settings) {
    const Float4 numbers = VoiceNumbers();
    const auto count = static_cast<float>(settings.voices);
    const Float4 offsets = numbers / count;
    groups[VoiceGains].GlideTo(xsimd::select(numbers < Float4(count), Float4(1.0F / count), Float4(0.0F)));
    groups[LeftOffsets].GlideTo(offsets);
    // Half way between the voices of the left: for one voice that is the opposite.
    groups[RightOffsets].GlideTo(settings.stereoMode != ChorusSettings::Mono ? offsets + 0.5F / count
                                                                             : offsets);
    const Float4 shape(static_cast<float>(settings.shape));
    groups[Shapes].GlideTo(xsimd::select(numbers == shape, Float4(1.0F), Float4(0.0F)));
}

void ChorusControls::SetLevels(const ChorusSettings& settings) {
    const bool crosses = settings.stereoMode == ChorusSettings::Cross;
    groups[Loop].GlideTo(
        {crosses ? 0.0F : settings.feedback, crosses ? settings.feedback : 0.0F,
         OnePoleCoefficient(settings.lowCutHz, sampleRate),
         settings.highCutHz >= openCutHz ? 1.0F : OnePoleCoefficient(settings.highCutHz, sampleRate)});

    const auto [dry, level] = EqualPower(settings.mix);
    const float wet = level * WetLevel(settings);
    groups[Mix].GlideTo(
        {dry, wet * 0.5F * (1.0F + settings.width), wet * 0.5F * (1.0F - settings.width), 0.0F});
}

/// The factor that brings the mean of the voices to the level of the dry sound. Voices at one place add up
/// by amplitude, voices apart by power; feedback raises the level again.
float ChorusControls::WetLevel(const ChorusSettings& settings) {
    const float apart =
        (settings.depthMs + settings.drift * widestDriftMs + settings.spread * settings.delayMs) /
        coherenceMs;
    const float coherence = 1.0F / (1.0F + apart * apart);
    const float powerOfMean = coherence + (1.0F - coherence) / static_cast<float>(settings.voices);
    const float gain = DecibelsToGain(settings.wetGainDb);
    return gain * std::sqrt((1.0F - settings.feedback * settings.feedback * powerOfMean) / powerOfMean);
}

void ChorusControls::SetMotion(const ChorusSettings& settings) {
    constexpr float shortest = SplineDelayLine::shortestDelay;
    const float samplesPerMs = sampleRate * 0.001F;
    float depth = settings.depthMs * samplesPerMs;
    float drift = settings.drift * widestDriftMs * samplesPerMs;
    const float room = 0.5F * (longestDelay - shortest);
    if (depth + drift > room) {
        const float share = room / (depth + drift);
        depth *= share;
        drift *= share;
    }
    const float swing = depth + drift;
    const Float4 centres = settings.delayMs * samplesPerMs * (1.0F + settings.spread * SpreadShares());
    groups[Centres].GlideTo(
        xsimd::min(xsimd::max(centres, Float4(shortest + swing)), Float4(longestDelay - swing)));
    // More than one cycle of a random walk apart, the channels have nothing in common.
    const float shift = settings.stereoMode != ChorusSettings::Mono ? 1.5F : 0.0F;
    groups[Motion].GlideTo({depth, drift, settings.rateHz, shift});
}

} // namespace Velmora::dsp
