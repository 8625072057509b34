// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/SafetyLimiter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orphia::host {

namespace {

constexpr double lookaheadSeconds = 0.0015;
constexpr double releaseSeconds = 0.08;
/// Below this an attenuation is over: a gain of a float nearest to 1.
constexpr double leastAttenuation = 1e-7;
/// Samples on each side of the place between two samples.
constexpr std::uint32_t reach = 8;

/// A sinc under a window of raised cosine, the wave that a band-limited reconstruction puts on each sample.
double Kernel(double distance) {
    const double x = std::numbers::pi * distance;
    const double sinc = distance == 0.0 ? 1.0 : std::sin(x) / x;
    return sinc * (0.5 + 0.5 * std::cos(x / static_cast<double>(reach)));
}

} // namespace

SafetyLimiter::SafetyLimiter(std::uint32_t sampleRate)
    : lookahead(std::max(reach, static_cast<std::uint32_t>(lookaheadSeconds * sampleRate))),
      latency(lookahead + reach), delayed(latency), candidates(lookahead + 2),
      releaseFactor(std::exp(-1.0 / (releaseSeconds * sampleRate))), window(lookahead) {
    for (std::uint32_t phase = 1; phase < phaseCount; ++phase) {
        const double fraction = static_cast<double>(phase) / phaseCount;
        for (std::uint32_t tap = 0; tap < tapCount; ++tap) {
            // Tap 0 is the newest sample, `reach` behind the place between.
            const double distance = static_cast<double>(reach) - fraction - static_cast<double>(tap);
            interpolator[phase - 1][tap] = static_cast<float>(Kernel(distance));
        }
    }
    Reset();
}

void SafetyLimiter::Reset() {
    for (auto& channel : past) {
        channel.fill(0.0F);
    }
    std::fill(delayed.begin(), delayed.end(), Frame{});
    std::fill(window.begin(), window.end(), 0.0);
    pastAt = delayedAt = windowAt = nonZero = 0;
    firstCandidate = candidateCount = 0;
    frame = 0;
    released = sum = largest = 0.0;
}

float SafetyLimiter::TruePeak(const Frame& entering) {
    // Each sample stands twice, so that the last tapCount lie in one piece.
    pastAt = (pastAt + tapCount - 1) % tapCount;
    float peak = 0.0F;
    for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
        auto& line = past[channel];
        line[pastAt] = line[pastAt + tapCount] = entering[channel];
        const float* newest = line.data() + pastAt;
        peak = std::max(peak, std::abs(newest[reach]));
        for (const auto& taps : interpolator) {
            float between = 0.0F;
            for (std::uint32_t tap = 0; tap < tapCount; ++tap) {
                between += taps[tap] * newest[tap];
            }
            peak = std::max(peak, std::abs(between));
        }
    }
    return peak;
}

/// The largest attenuation that a frame within the lookahead asks for, falling back slowly.
double SafetyLimiter::Wanted(float peak) {
    const double attenuation = peak > ceiling ? 1.0 - static_cast<double>(ceiling) / peak : 0.0;
    const auto size = static_cast<std::uint32_t>(candidates.size());
    const auto at = [this, size](std::uint32_t n) -> Candidate& {
        return candidates[(firstCandidate + n) % size];
    };
    while (candidateCount > 0 && at(candidateCount - 1).attenuation <= attenuation) {
        --candidateCount;
    }
    if (candidateCount > 0 && at(0).frame + lookahead < frame) {
        firstCandidate = (firstCandidate + 1) % size;
        --candidateCount;
    }
    at(candidateCount++) = {attenuation, frame++};
    released = std::max(at(0).attenuation, released * releaseFactor);
    if (released < leastAttenuation) {
        released = 0.0;
    }
    return released;
}

double SafetyLimiter::Smoothed(double wanted) {
    double& oldest = window[windowAt];
    nonZero += (wanted != 0.0 ? 1U : 0U) - (oldest != 0.0 ? 1U : 0U);
    sum = nonZero == 0 ? 0.0 : sum + (wanted - oldest);
    oldest = wanted;
    windowAt = (windowAt + 1) % lookahead;
    return sum / lookahead;
}

void SafetyLimiter::Process(float* const* sound, std::uint32_t frames) {
    for (std::uint32_t n = 0; n < frames; ++n) {
        Frame entering;
        for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
            const float sample = sound[channel][n];
            entering[channel] = std::isfinite(sample) ? sample : 0.0F;
        }
        const double attenuation = Smoothed(Wanted(TruePeak(entering)));
        largest = std::max(largest, attenuation);
        Frame& leaving = delayed[delayedAt];
        for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
            const float sample = leaving[channel];
            sound[channel][n] =
                attenuation == 0.0 ? sample : static_cast<float>(sample * (1.0 - attenuation));
        }
        leaving = entering;
        delayedAt = (delayedAt + 1) % latency;
    }
}

float SafetyLimiter::TakeReduction() {
    const double reduction = -20.0 * std::log10(std::max(1.0 - largest, 1e-10));
    largest = 0.0;
    return static_cast<float>(reduction > 0.0 ? reduction : 0.0);
}

} // namespace orphia::host
