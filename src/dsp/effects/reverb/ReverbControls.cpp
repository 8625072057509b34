// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/reverb/ReverbControls.h"

#include "dsp/delaylines/QuadDelayLine.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/math/Decibels.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

namespace Plate = ReverbPlate;

constexpr double glideSeconds = 0.015;
/// Just below the top: a control position need not hit it exactly.
constexpr float openCutHz = 0.9995F * ReverbSettings::highestCutHz;
/// Samples per sample.
constexpr float preDelaySpeed = 0.3F;
/// ln(1000): 60 dB.
constexpr float sixtyDecibels = 6.9077553F;
/// Measured with pink noise: at the start values the wet sound is as loud as the dry one where both inputs
/// are the same, and 3 dB below it where they have nothing in common.
constexpr float levelOfPlate = 1.4F;

/// The factor of a delay. A tank that shrinks as a whole has too few resonances left to pass for a room, and
/// rings: so below the plate's own size the all-passes keep their lengths, and the lines between them shrink
/// by the root. What is heard first, the taps, follows the size.
float ScaleOf(u32 delay, float size) {
    const bool isTank = delay < Plate::LineCount;
    if (!isTank || size >= 1.0F) {
        return size;
    }
    return Plate::IsAllPass(static_cast<Plate::Line>(delay)) ? 1.0F : std::sqrt(size);
}

/// Of the way round the tank.
float LoopScale(float size) {
    if (size >= 1.0F) {
        return size;
    }
    float way = 0.0F;
    float fullWay = 0.0F;
    for (u32 line = 0; line < Plate::LineCount; ++line) {
        way += ScaleOf(line, size) * Plate::lengths[line];
        fullWay += Plate::lengths[line];
    }
    return way / fullWay;
}

/// The power that a steady sound piles up goes with the decay, and against the way round the tank. Half of
/// that, in dB, is taken back: pads would drown, and strokes would vanish, if it were none or all.
float LevelOf(float decaySeconds, float size) {
    constexpr float startSeconds = 2.2F;
    return levelOfPlate * std::pow(startSeconds * LoopScale(size) / decaySeconds, 0.25F);
}

/// The tap that a delay leads to, or null for that of a line.
const Plate::Tap* TapOf(u32 delay) {
    if (delay < ReverbControls::LeftTaps) {
        return nullptr;
    }
    return delay < ReverbControls::RightTaps ? &Plate::leftTaps[delay - ReverbControls::LeftTaps]
                                             : &Plate::rightTaps[delay - ReverbControls::RightTaps];
}

float DimensionOf(u32 delay) {
    const Plate::Tap* tap = TapOf(delay);
    return tap != nullptr ? tap->delay : Plate::lengths[delay];
}

} // namespace

u32 ReverbControls::Scaled(float dimension, float size, float rate) {
    const float samples = std::round(dimension * size * rate / Plate::tunedRate);
    return std::max(static_cast<u32>(samples), QuadDelayLine::shortestDelay);
}

u32 ReverbControls::LongestPreDelay(float rate) {
    return static_cast<u32>(std::lround(ReverbSettings::longestPreDelaySeconds * rate)) +
           QuadDelayLine::shortestDelay;
}

void ReverbControls::Prepare(float rate) {
    sampleRate = rate;
    groups.Prepare(rate, glideSeconds, glideSeconds);
    delays.Prepare(rate);
    SetSpeeds();
}

/// The tank keeps its proportions while it grows, at no more than one size a second: a sound passes all its
/// lines again and again, and each bends the pitch. The pre-delay is passed once.
void ReverbControls::SetSpeeds() {
    for (u32 delay = 0; delay < PreDelay; ++delay) {
        delays.SetFastest(delay, DimensionOf(delay) / Plate::tunedRate);
    }
    delays.SetFastest(PreDelay, preDelaySpeed);
}

void ReverbControls::SetTargets(const ReverbSettings& settings) {
    SetDelays(settings);
    SetLevels(settings);
    SetGains(settings);
    groups[Diffusion].GlideTo({settings.inputDiffusion1, settings.inputDiffusion2, settings.decayDiffusion1,
                               settings.decayDiffusion2});
    // What is frozen must lose nothing on its way: no filter, and no place between two samples.
    const float swing = settings.frozen ? 0.0F : settings.modDepthMs * 0.001F * sampleRate;
    groups[Filters].GlideTo({QuadOnePole::HighPassCoefficientOf(settings.lowCutHz, sampleRate),
                             CutCoefficient(settings.highCutHz),
                             settings.frozen ? 1.0F : CutCoefficient(settings.dampingHz), swing});
    swingPerQuad = static_cast<double>(settings.modRateHz) * 4.0 / static_cast<double>(sampleRate);
}

float ReverbControls::CutCoefficient(float hz) const {
    return hz >= openCutHz ? 1.0F : QuadOnePole::CoefficientOf(hz, sampleRate);
}

void ReverbControls::SetDelays(const ReverbSettings& settings) {
    for (u32 delay = 0; delay < PreDelay; ++delay) {
        delays.GlideTo(delay, Scaled(DimensionOf(delay), ScaleOf(delay, settings.size), sampleRate));
    }
    const auto preDelay = static_cast<u32>(std::lround(settings.preDelaySeconds * sampleRate));
    delays.GlideTo(PreDelay, preDelay + QuadDelayLine::shortestDelay);
}

void ReverbControls::SetLevels(const ReverbSettings& settings) {
    const auto [dry, share] = EqualPower(settings.mix);
    const float gain = LevelOf(settings.decaySeconds, settings.size) * DecibelsToGain(settings.wetGainDb);
    const float wet = share * gain;
    // The sides have little in common: the power stays.
    const float width = settings.width;
    const float side = wet * std::sqrt(0.5F / (1.0F + width * width));
    groups[Mix].GlideTo({dry, side * (1.0F + width), side * (1.0F - width), settings.frozen ? 0.0F : 1.0F});
}

void ReverbControls::SetGains(const ReverbSettings& settings) {
    for (u32 group = FirstGains; group < GroupCount; ++group) {
        const u32 delay = (group - FirstGains) * 4;
        groups[group].GlideTo({GainOf(delay, settings), GainOf(delay + 1, settings),
                               GainOf(delay + 2, settings), GainOf(delay + 3, settings)});
    }
}

/// Every sample that a sound waits costs it the same share, in the lines as in the all-passes and before the
/// taps: so the response is that of a tank without losses under an exponential, and each of its resonances
/// decays by exactly the time that is set. The taps of a frozen tank stay as they are, so that the tail goes
/// on at its level.
float ReverbControls::GainOf(u32 delay, const ReverbSettings& settings) const {
    if (delay >= PreDelay) {
        return 1.0F;
    }
    const auto samples = static_cast<float>(delays.Goal(delay));
    const float kept = std::exp(-sixtyDecibels * samples / (settings.decaySeconds * sampleRate));
    const Plate::Tap* tap = TapOf(delay);
    if (tap != nullptr) {
        return tap->sign * kept;
    }
    return settings.frozen ? 1.0F : kept;
}

void ReverbControls::JumpToTargets() {
    groups.Arrive();
    delays.Arrive();
    RenewFilters();
}

void ReverbControls::Step() {
    groups.Step();
    RenewFilters();
    if (delays.IsGliding()) {
        delays.Step();
    }
}

void ReverbControls::RenewFilters() {
    for (u32 lane = 0; lane < filterCount; ++lane) {
        filters[lane] = QuadOnePole::Coefficients(groups[Filters].value[lane]);
    }
}

} // namespace Velmora::dsp
