// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/envelopes/EnvFollower.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/SilentInputs.h"
#include "dsp/math/Decibels.h"
#include "dsp/vectors/SilenceFaults.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Double2;
using simd::Float4;

constexpr float longestWindowMs = 100.0F;
/// Below these, what is left is rounding.
constexpr double sumFloor = 1e-10;
constexpr float envelopeFloor = 1e-06F;
/// No level is as low.
constexpr float noThreshold = -1.0F;
constexpr u32 groupSize = 4;

std::vector<ModuleParam> Records() {
    return RecordsOf(
        {Declare::Linear("Attack", 0.001F, 5.0F, 0.005F), Declare::Linear("Release", 0.001F, 5.0F, 0.01F),
         Declare::Linear("RMSWindowDurationMs", 0.0F, longestWindowMs, 10.0F),
         Declare::Linear("FixedLinearGain", 0.0F, 100.0F, 1.4142135F), Declare::Raw("StereoInput"),
         Declare::Linear("Threshold", -120.0F, 0.0F, -120.0F), Declare::Raw("ThresholdActive")});
}

/// A duration in whole samples, at least 1.
u32 WindowSamples(float milliseconds, float sampleRate) {
    return std::max(1U, static_cast<u32>(milliseconds * sampleRate * 0.001F));
}

/// One channel, or silence.
struct Input {
    const float* samples;
    u32 stride;

    static Input Of(const float* channel) {
        alignas(16) static constexpr float silence[groupSize] = {};
        return channel != nullptr ? Input{channel, 1} : Input{silence, 0};
    }
    Float4 Rectified(u32 frame) const { return xsimd::abs(SilenceFaults(samples + frame * stride)); }
};

Float4 Above(Float4 level, Float4 threshold) {
    return xsimd::select(level <= threshold, Float4(0.0F), level);
}

Double2 Square(float a, float b) {
    const Double2 x{static_cast<double>(a), static_cast<double>(b)};
    return x * x;
}

/// {a, a + b} of {a, b}.
Double2 Accumulated(Double2 x) { return x + xsimd::zip_lo(Double2(0.0), x); }

Double2 HighOfBoth(Double2 x) { return xsimd::zip_hi(x, x); }

/// sum + Accumulated(change), with each result below the floor taken for rounding.
Double2 AddWithFloor(Double2 sum, Double2 change) {
    const auto floored = [](Double2 x) { return xsimd::select(x < Double2(sumFloor), Double2(0.0), x); };
    const Double2 first = floored(sum + change);
    const Double2 both = floored(xsimd::zip_lo(first, first) + change);
    return xsimd::zip_lo(first, HighOfBoth(both));
}

Float4 ToFloats(Double2 first, Double2 second) {
    // Stays in registers.
    double lanes[4];
    first.store_unaligned(lanes);
    second.store_unaligned(lanes + 2);
    return Float4{static_cast<float>(lanes[0]), static_cast<float>(lanes[1]), static_cast<float>(lanes[2]),
                  static_cast<float>(lanes[3])};
}

/// Levels that move slowly mostly keep their direction, which the processor then foresees; the choice of
/// the coefficient leaves the chain from frame to frame.
template <bool isSlow>
struct Smoother {
    float attackCoefficient;
    float releaseCoefficient;

    /// Writes four frames of the envelope and returns the last.
    float Follow(Float4 levels, float e, float* out) const {
        alignas(16) float v[groupSize];
        levels.store_aligned(v);
        for (u32 k = 0; k < groupSize; ++k) {
            e = Step(v[k], e);
            if (e < envelopeFloor) [[unlikely]] {
                e = 0.0F;
            }
            out[k] = e;
        }
        return e;
    }

    float Step(float v, float e) const {
        if constexpr (isSlow) {
            if (v < e) {
                return (v - e) * releaseCoefficient + e;
            }
            return (v - e) * attackCoefficient + e;
        } else {
            const float c = v < e ? releaseCoefficient : attackCoefficient;
            return (v - e) * c + e;
        }
    }
};

} // namespace

void EnvFollower::DelayLineDouble::SetLongestDelay(u32 samples) {
    // The group that is written must not touch what is still to be read.
    const u32 size = std::bit_ceil(samples + groupSize);
    mask = size - 1;
    ring.assign(size + groupSize, 0.0);
    writeIndex = 0;
}

void EnvFollower::DelayLineDouble::Clear() {
    std::fill(ring.begin(), ring.end(), 0.0);
    writeIndex = 0;
}

inline void EnvFollower::DelayLineDouble::WriteFour(Double2 first, Double2 second) {
    const u32 at = writeIndex & mask;
    first.store_unaligned(&ring[at]);
    second.store_unaligned(&ring[at + 2]);
    if (at == 0) [[unlikely]] {
        first.store_unaligned(&ring[mask + 1]);
        second.store_unaligned(&ring[mask + 3]);
    }
    writeIndex += groupSize;
}

EnvFollower::EnvFollower(std::string moduleName) : UnitModule(std::move(moduleName), 2, 1, Records()) {
    delayLine.SetLongestDelay(1);
}

void EnvFollower::OnInitialize(float rateHz, u32 /*maxBlockSize*/) {
    sampleRate = std::max(1.0F, rateHz);
    longestWindow = WindowSamples(longestWindowMs, sampleRate);
    delayLine.SetLongestDelay(longestWindow);
}

void EnvFollower::OnReset(bool /*hard*/) {
    delayLine.Clear();
    runningSum = {};
    envelope = 0.0F;
    silentFrames = 0;
}

bool EnvFollower::UpdateParameters(ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(Attack)) {
        attackCoefficient = StepCoefficient(HeldValue(Attack));
    }
    if (Changed(Release)) {
        releaseCoefficient = StepCoefficient(HeldValue(Release));
    }
    if (Changed(StereoInput)) {
        isStereo = GetParameterNormalized(StereoInput) > 0.5F;
    }
    if (Changed(RMSWindowDurationMs)) {
        UpdateWindow();
    }
    if (Changed(FixedLinearGain)) {
        gain = HeldValue(FixedLinearGain);
    }
    if (Changed(Threshold) || Changed(ThresholdActive)) {
        thresholdLevel = DecibelsToGain(Value(Threshold));
        isThresholdActive = GetParameterNormalized(ThresholdActive) > 0.0F;
    }
    return true;
}

/// Five time constants in the given time.
float EnvFollower::StepCoefficient(float seconds) const {
    const double samples = static_cast<double>(seconds) * sampleRate;
    return static_cast<float>(-std::expm1(-5.0 / samples));
}

void EnvFollower::UpdateWindow() {
    windowLength = std::min(WindowSamples(HeldValue(RMSWindowDurationMs), sampleRate), longestWindow);
    usesRms = windowLength > 1;
    inverseWindowLength = 1.0 / windowLength;
    OnReset(false);
    needsUpdate = true;
}

/// The mean squares of the window at each of four frames.
inline Float4 EnvFollower::SlideWindow(Float4 x, RunningSum& window) {
    alignas(16) float magnitude[groupSize];
    x.store_aligned(magnitude);
    const Double2 square01 = Square(magnitude[0], magnitude[1]) * inverseWindowLength;
    const Double2 square23 = Square(magnitude[2], magnitude[3]) * inverseWindowLength;
    delayLine.WriteFour(square01, square23);
    const double* oldest = delayLine.Before(windowLength + groupSize);
    const Double2 change01 = square01 - Double2::load_unaligned(oldest);
    const Double2 change23 = square23 - Double2::load_unaligned(oldest + 2);
    Double2 sum01 = window.sum + Accumulated(change01);
    Double2 sum23 = HighOfBoth(sum01) + Accumulated(change23);
    if (xsimd::any(xsimd::min(sum01, sum23) < Double2(sumFloor))) [[unlikely]] {
        sum01 = AddWithFloor(window.sum, change01);
        sum23 = AddWithFloor(HighOfBoth(sum01), change23);
    }
    window.sum = HighOfBoth(sum23);
    window.fresh += square01 + square23;
    window.freshCount += groupSize;
    if (window.freshCount >= windowLength) [[unlikely]] {
        window.sum = Double2(Renewed(window));
        window.fresh = Double2(0.0);
        window.freshCount = 0;
    }
    return ToFloats(sum01, sum23);
}

/// The sum of the window from that of the latest samples, which are the window or up to three more: the
/// rounding of a loud passage is gone two windows later. A sum that the floor holds at 0 stays there.
double EnvFollower::Renewed(RunningSum window) const {
    if (window.sum.get(0) <= 0.0) {
        return 0.0;
    }
    double sum = xsimd::hadd(window.fresh);
    for (u32 age = window.freshCount; age > windowLength; --age) {
        sum -= *delayLine.Before(age);
    }
    return sum;
}

template <bool rms>
void EnvFollower::Follow(const ProcessContext& context) {
    const Input left = Input::Of(context.InputOrNull(0));
    const float* second = isStereo ? context.InputOrNull(1) : nullptr;
    const Input right = second != nullptr ? Input::Of(second) : left;
    const Float4 lowest(isThresholdActive ? thresholdLevel : noThreshold);
    const Float4 factor(gain);
    const Smoother<rms> smoother{attackCoefficient, releaseCoefficient};
    RunningSum window = runningSum;
    float e = envelope;
    float* out = context.outputs[0];
    const u32 numFrames = context.numFrames;
    for (u32 n = 0; n < numFrames; n += groupSize) {
        const Float4 x = (left.Rectified(n) + right.Rectified(n)) * 0.5F;
        Float4 level;
        if constexpr (rms) {
            level = Above(xsimd::sqrt(SlideWindow(x, window)), lowest) * factor;
        } else {
            level = Above(x * factor, lowest);
        }
        e = smoother.Follow(level, e, out + n);
    }
    runningSum = window;
    envelope = e;
}

/// All that a block of silence would read of the ring are zeros, which need not be written once more.
bool EnvFollower::IsAtRest() const {
    return silentFrames >= windowLength + groupSize && envelope == 0.0F && runningSum.sum.get(0) == 0.0;
}

/// At rest only the count goes on, by which the sum is built anew.
void EnvFollower::PassSilence(const ProcessContext& context) {
    if (usesRms) {
        const u32 groups = (context.numFrames + groupSize - 1) / groupSize;
        const u32 groupsOfWindow = (windowLength + groupSize - 1) / groupSize;
        runningSum.freshCount = (runningSum.freshCount / groupSize + groups) % groupsOfWindow * groupSize;
    }
    std::fill_n(context.outputs[0], context.numFrames, 0.0F);
}

bool EnvFollower::Process(ProcessContext& context) {
    const bool silence = IsSilent(context);
    if (silence && IsAtRest()) {
        PassSilence(context);
        return true;
    }
    silentFrames = silence ? std::min(silentFrames + context.numFrames, longestWindow + groupSize) : 0;
    if (usesRms) {
        Follow<true>(context);
    } else {
        Follow<false>(context);
    }
    return true;
}

} // namespace Velmora::dsp
