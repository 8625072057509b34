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
      latency(lookahead + reach), candidates(lookahead + 2),
      releaseFactor(std::exp(-1.0 / (releaseSeconds * sampleRate))), window(lookahead) {
    constexpr float rounding = 1.0001F;
    for (std::uint32_t phase = 1; phase < phaseCount; ++phase) {
        const double fraction = static_cast<double>(phase) / phaseCount;
        float gain = 0.0F;
        for (std::uint32_t tap = 0; tap < tapCount; ++tap) {
            // Tap 0 is the newest sample, `reach` behind the place between.
            const double distance = static_cast<double>(reach) - fraction - static_cast<double>(tap);
            interpolator[phase - 1][tap] = static_cast<float>(Kernel(distance));
            gain += std::abs(interpolator[phase - 1][tap]);
        }
        mostGain = std::max(mostGain, gain * rounding);
    }
    for (auto& channel : delayed) {
        channel.resize(latency);
    }
    Reset();
}

void SafetyLimiter::Reset() {
    for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
        recent[channel].fill(0.0F);
        std::fill(delayed[channel].begin(), delayed[channel].end(), 0.0F);
    }
    std::fill(window.begin(), window.end(), 0.0);
    delayedAt = windowAt = nonZero = 0;
    firstCandidate = candidateCount = 0;
    frame = 0;
    released = sum = largest = 0.0;
}

/// Takes a piece in, and tells the largest sample of it and of what was there.
float SafetyLimiter::Take(float* const* sound, std::uint32_t frames) {
    std::array<float, laneCount> loudest{};
    for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
        auto& line = recent[channel];
        for (std::uint32_t n = 0; n < frames; ++n) {
            float& sample = sound[channel][n];
            sample = std::isfinite(sample) ? sample : 0.0F;
            line[pastFrames + n] = sample;
        }
        const std::uint32_t end = pastFrames + frames;
        std::fill_n(line.begin() + end, std::min<std::size_t>(laneCount, line.size() - end), 0.0F);
        for (std::uint32_t n = 0; n < end; n += laneCount) {
            for (std::uint32_t lane = 0; lane < laneCount; ++lane) {
                loudest[lane] = std::max(loudest[lane], std::abs(line[n + lane]));
            }
        }
    }
    return *std::max_element(loudest.begin(), loudest.end());
}

/// What enters goes, and what comes out is there.
void SafetyLimiter::Delay(float* const* sound, std::uint32_t frames) {
    for (std::uint32_t done = 0; done < frames;) {
        const std::uint32_t count = std::min(frames - done, latency - delayedAt);
        for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
            float* const from = sound[channel] + done;
            std::swap_ranges(from, from + count, delayed[channel].data() + delayedAt);
        }
        done += count;
        delayedAt = delayedAt + count == latency ? 0 : delayedAt + count;
    }
}

void SafetyLimiter::FindPeaks(std::uint32_t frames) {
    peaks.fill(0.0F);
    for (const auto& line : recent) {
        for (std::uint32_t n = 0; n < frames; ++n) {
            peaks[n] = std::max(peaks[n], std::abs(line[pastFrames - reach + n]));
        }
        for (const Taps& taps : interpolator) {
            FindPeaksBetween(taps, line.data() + pastFrames, frames);
        }
    }
}

/// Behind the last frame it reckons what nobody reads.
void SafetyLimiter::FindPeaksBetween(const Taps& taps, const float* line, std::uint32_t frames) {
    for (std::uint32_t start = 0; start < frames; start += laneCount) {
        std::array<float, laneCount> between{};
        const float* newest = line + start;
        for (const float tap : taps) {
            for (std::uint32_t lane = 0; lane < laneCount; ++lane) {
                between[lane] += tap * newest[lane];
            }
            --newest;
        }
        for (std::uint32_t lane = 0; lane < laneCount; ++lane) {
            peaks[start + lane] = std::max(peaks[start + lane], std::abs(between[lane]));
        }
    }
}

/// The largest attenuation that a frame within the lookahead asks for, falling back slowly.
double SafetyLimiter::Wanted(float peak) {
    const double attenuation = peak > ceiling ? 1.0 - static_cast<double>(ceiling) / peak : 0.0;
    const auto size = static_cast<std::uint32_t>(candidates.size());
    const auto at = [this, size](std::uint32_t n) -> Candidate& {
        const std::uint32_t place = firstCandidate + n;
        return candidates[place < size ? place : place - size];
    };
    while (candidateCount > 0 && at(candidateCount - 1).attenuation <= attenuation) {
        --candidateCount;
    }
    if (candidateCount > 0 && at(0).frame + lookahead < frame) {
        firstCandidate = firstCandidate + 1 == size ? 0 : firstCandidate + 1;
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
    windowAt = windowAt + 1 == lookahead ? 0 : windowAt + 1;
    return sum / lookahead;
}

void SafetyLimiter::Process(float* const* sound, std::uint32_t frames) {
    for (std::uint32_t start = 0; start < frames; start += pieceFrames) {
        const std::uint32_t count = std::min(frames - start, pieceFrames);
        const std::array<float*, channelCount> piece{sound[0] + start, sound[1] + start};
        const float loudest = Take(piece.data(), count);
        Delay(piece.data(), count);
        // Nothing is too loud, nor was: the most frequent case by far.
        if (loudest * mostGain <= ceiling && released == 0.0 && nonZero == 0) {
            candidateCount = 0;
            frame += count;
        } else {
            Limit(piece.data(), count);
        }
        for (auto& line : recent) {
            std::copy_n(line.begin() + count, pastFrames, line.begin());
        }
    }
}

void SafetyLimiter::Limit(float* const* sound, std::uint32_t frames) {
    FindPeaks(frames);
    for (std::uint32_t n = 0; n < frames; ++n) {
        const double attenuation = Smoothed(Wanted(peaks[n]));
        if (attenuation == 0.0) {
            continue;
        }
        largest = std::max(largest, attenuation);
        for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
            sound[channel][n] = static_cast<float>(sound[channel][n] * (1.0 - attenuation));
        }
    }
}

float SafetyLimiter::TakeReduction() {
    if (largest == 0.0) {
        return 0.0F;
    }
    const double reduction = -20.0 * std::log10(std::max(1.0 - largest, 1e-10));
    largest = 0.0;
    return static_cast<float>(reduction > 0.0 ? reduction : 0.0);
}

} // namespace orphia::host
