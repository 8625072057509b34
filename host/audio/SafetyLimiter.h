// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace orphia::host {

/// Keeps stereo sound below full scale, heard as little as can be: a limiter that looks ahead and measures
/// the peak between the samples too (four times oversampled, as ITU-R BS.1770 does).
///
/// Sound whose true peak stays below the ceiling comes out equal to the bit, LatencyFrames() later. Above it
/// the gain bends down over the lookahead, has arrived when the peak comes out, and returns with a time
/// constant of 80 ms; both channels have one gain, so that the picture does not move.
///
/// The constructor allocates; Process does not, nor does it lock or throw. For one thread at a time.
class SafetyLimiter {
public:
    static constexpr std::uint32_t channelCount = 2;
    /// The true peak that is not exceeded, -1.1 dBFS: a tenth below what broadcasters ask for.
    static constexpr float ceiling = 0.8810489F;

    /// sampleRate in Hz.
    explicit SafetyLimiter(std::uint32_t sampleRate);

    /// How much later sound comes out, about 2 ms.
    std::uint32_t LatencyFrames() const { return latency; }
    /// Silent, as new.
    void Reset();
    /// In place; sound holds channelCount channels of `frames` frames. What is not finite becomes silence.
    void Process(float* const* sound, std::uint32_t frames);
    /// The most that was taken away since the last call, in dB, 0 or above.
    float TakeReduction();

private:
    static constexpr std::uint32_t phaseCount = 4;
    static constexpr std::uint32_t tapCount = 16;
    static constexpr std::uint32_t pastFrames = tapCount;
    /// Frames that are computed at once, and as many side by side as fill vectors.
    static constexpr std::uint32_t pieceFrames = 64;
    static constexpr std::uint32_t laneCount = 8;
    using Taps = std::array<float, tapCount>;

    float Take(float* const* sound, std::uint32_t frames);
    void Delay(float* const* sound, std::uint32_t frames);
    void Limit(float* const* sound, std::uint32_t frames);
    void FindPeaks(std::uint32_t frames);
    void FindPeaksBetween(const Taps& taps, const float* line, std::uint32_t frames);
    double Wanted(float peak);
    double Smoothed(double wanted);

    /// Interpolates between two samples: three phases, since the fourth is the sample itself.
    std::array<Taps, phaseCount - 1> interpolator;
    /// No peak between the samples is larger than the largest sample, this many times.
    float mostGain = 1.0F;
    /// The frames in front of a piece, and the piece.
    std::array<std::array<float, pastFrames + pieceFrames>, channelCount> recent;
    /// Of a piece, `reach` frames behind what has entered.
    std::array<float, pieceFrames> peaks{};

    /// Frames between a peak's detection and its coming out.
    std::uint32_t lookahead;
    std::uint32_t latency;
    std::array<std::vector<float>, channelCount> delayed;
    std::uint32_t delayedAt = 0;

    /// Attenuations, 1 - gain, of the last `lookahead` frames: those that can still be the largest, oldest
    /// first.
    struct Candidate {
        double attenuation;
        std::uint64_t frame;
    };
    std::vector<Candidate> candidates;
    std::uint32_t firstCandidate = 0;
    std::uint32_t candidateCount = 0;
    std::uint64_t frame = 0;

    double releaseFactor;
    double released = 0.0;
    /// The mean over the lookahead makes the gain's bend; zeros are counted, so that the sum can come back to
    /// 0.
    std::vector<double> window;
    std::uint32_t windowAt = 0;
    std::uint32_t nonZero = 0;
    double sum = 0.0;
    double largest = 0.0;
};

} // namespace orphia::host
