// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/pitch/PitchTracker.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/SilenceFaults.h"

#include <algorithm>
#include <bit>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;

constexpr float shortestWindow = 2.0F;
constexpr float longestWindow = 2048.0F;
/// One over the rate that window lengths are stated for.
constexpr float referencePeriod = 2.2675737e-05F;
/// The longest window in samples; beyond any real rate.
constexpr float mostSamples = 65536.0F;
/// No shorter window has a peak between two neighbours.
constexpr u32 fewestSamples = 4;

std::vector<ModuleParam> Records() {
    return RecordsOf({Declare::Linear("AnalysisWindowSize", shortestWindow, longestWindow, 1024.0F),
                      Declare::Raw("ConfidenceThreshold", 0.95F),
                      Declare::Exponential("DetectedPitch", 0.0F, 20000.0F, 6.0F)});
}

/// The power of two nearest to the window at this rate, the lower of two that are equally near.
u32 WindowSamples(float windowSize, float sampleRate) {
    const float samples = sampleRate * referencePeriod * windowSize;
    const u32 wanted = static_cast<u32>(Within(samples, 1.0F, mostSamples));
    const u32 above = std::bit_ceil(wanted);
    const u32 below = above / 2;
    return wanted - below <= above - wanted ? below : above;
}

/// The lag of the first period in a normalised autocorrelation of `count` lags, or 0 when there is none.
///
/// `weighted` is `normalised` times a positive weight that falls towards long lags. It chooses the lobe, so
/// that the period wins over its multiples; the unweighted function then places the peak, which the slope
/// of the weight would pull towards 0. Values that are not numbers never win.
u32 FindPeriodPeak(const float* weighted, const float* normalised, u32 count) {
    const auto isNotPositive = [](float value) { return value <= 0.0F; };
    const float* end = weighted + count;
    // Everything is alike at lag 0 and close to it.
    const float* zeroLagEnd = std::find_if(weighted, end, isNotPositive);
    if (zeroLagEnd == end) {
        return 0;
    }
    const float* highest = std::max_element(zeroLagEnd, end);
    if (isNotPositive(*highest)) {
        return 0;
    }
    // The lobe begins after zeroLagEnd, so that there is always a lag before it.
    const float* lobe = highest;
    while (!isNotPositive(lobe[-1])) {
        --lobe;
    }
    const float* lobeEnd = std::find_if(highest, end, isNotPositive);
    const float* peak =
        std::max_element(normalised + (lobe - weighted) - 1, normalised + (lobeEnd - weighted));
    return static_cast<u32>(peak - normalised);
}

} // namespace

/// One channel, or silence.
class PitchTracker::Input {
public:
    explicit Input(const float* channel)
        : samples(channel != nullptr ? channel : silence), stride(channel != nullptr ? 1 : 0) {}

    Float4 Load(u32 frame) const { return SilenceFaults(samples + frame * stride); }

private:
    alignas(16) static constexpr float silence[Float4::size] = {};

    const float* samples;
    u32 stride;
};

PitchTracker::PitchTracker(std::string moduleName) : UnitModule(std::move(moduleName), 2, 1, Records()) {}

/// All windows are prepared, so that the choice of one does not allocate.
void PitchTracker::OnInitialize(float rateHz, u32 /*maxBlockSize*/) {
    sampleRate = std::max(1.0F, rateHz);
    const u32 longest = std::max(fewestSamples, WindowSamples(longestWindow, sampleRate));
    transforms.clear();
    for (u32 samples = fewestSamples; samples <= longest; samples *= 2) {
        transforms.emplace_back(2 * samples);
    }
    data.resize(RealFft::BufferSize(2 * longest));
    squares.resize(longest);
    norm.resize(longest);
    taper.resize(longest);
    ChooseWindow();
}

void PitchTracker::ChooseWindow() {
    windowLength = WindowSamples(HeldValue(AnalysisWindowSize), sampleRate);
    for (u32 n = 0; n < windowLength; ++n) {
        taper[n] = static_cast<float>(windowLength - n) / static_cast<float>(windowLength);
    }
    OnReset(true);
}

void PitchTracker::OnReset(bool /*hard*/) {
    std::fill(data.begin(), data.end(), 0.0F);
    std::fill(squares.begin(), squares.end(), 0.0F);
    std::fill(norm.begin(), norm.end(), 0.0F);
    position = 0;
    pitch = 0.0F;
    parameters[DetectedPitch].SetValue(0.0F);
}

bool PitchTracker::UpdateParameters(ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(AnalysisWindowSize)) {
        ChooseWindow();
    }
    if (Changed(ConfidenceThreshold)) {
        threshold = HeldValue(ConfidenceThreshold);
    }
    return true;
}

bool PitchTracker::Process(ProcessContext& context) {
    float* out = context.outputs[0];
    const u32 numFrames = context.numFrames;
    if (windowLength < fewestSamples) {
        std::fill_n(out, numFrames, 0.0F);
        return true;
    }
    const Input first(context.InputOrNull(0));
    const Input second(context.InputOrNull(1) != nullptr ? Input(context.InputOrNull(1)) : first);
    for (u32 n = 0; n < numFrames;) {
        const u32 count = std::min(numFrames - n, windowLength - position);
        // The output may be an input, so that is read first.
        Store(first, second, n, count);
        std::fill_n(out + n, count, pitch);
        position += count;
        n += count;
        if (position == windowLength) {
            Analyse();
            position = 0;
        }
    }
    return true;
}

/// Frames and windows come in whole groups of four, so that a group never crosses the end of the window.
void PitchTracker::Store(const Input& first, const Input& second, u32 frame, u32 count) {
    for (u32 n = 0; n < count; n += Float4::size) {
        const Float4 x = (first.Load(frame + n) + second.Load(frame + n)) * 0.5F;
        x.store_aligned(&data[position + n]);
        (x * x).store_aligned(&squares[position + n]);
    }
}

void PitchTracker::Analyse() {
    Autocorrelate();
    SumEnergy();
    Normalise();
    pitch = MeasurePitch();
    std::fill_n(data.begin(), RealFft::BufferSize(2 * windowLength), 0.0F);
    parameters[DetectedPitch].SetValue(pitch);
}

/// The transform of the power spectrum.
void PitchTracker::Autocorrelate() {
    float* bins = data.data();
    RealFft& fft = transforms[std::bit_width(windowLength) - std::bit_width(fewestSamples)];
    fft.Forward(bins);
    for (u32 n = 0; n < RealFft::BufferSize(2 * windowLength); n += 2) {
        bins[n] = bins[n] * bins[n] + bins[n + 1] * bins[n + 1];
        bins[n + 1] = 0.0F;
    }
    fft.Inverse(bins);
}

/// For each lag the energy of both the samples that it compares: with every step the window loses one sample
/// at either end.
void PitchTracker::SumEnergy() {
    Float4 sums(0.0F);
    for (u32 n = 0; n < windowLength; n += Float4::size) {
        sums += Float4::load_aligned(&squares[n]);
    }
    float energy = 2.0F * xsimd::hadd(sums);
    norm[0] = energy;
    for (u32 lag = 1; lag < windowLength; ++lag) {
        energy = energy - squares[lag - 1] - squares[windowLength - lag];
        norm[lag] = energy;
    }
}

/// Silence divides 0 by 0, and what is not a number is no peak.
void PitchTracker::Normalise() {
    for (u32 n = 0; n < windowLength; n += Float4::size) {
        const Float4 likeness = 2.0F * Float4::load_aligned(&data[n]) / Float4::load_aligned(&norm[n]);
        likeness.store_aligned(&data[n]);
        (Float4::load_aligned(&taper[n]) * likeness).store_aligned(&norm[n]);
    }
}

/// A parabola through the peak and its neighbours gives the period between samples.
float PitchTracker::MeasurePitch() const {
    const u32 lag = FindPeriodPeak(norm.data(), data.data(), windowLength);
    if (lag == 0 || lag == windowLength - 1) {
        return 0.0F;
    }
    const float before = data[lag - 1];
    const float peak = data[lag];
    const float after = data[lag + 1];
    const float scale = 1.0F / (2.0F * peak - after - before);
    const float rise = after - before;
    const float confidence = scale * (rise * rise) * 0.125F + peak;
    if (!(confidence >= threshold)) {
        return 0.0F;
    }
    return sampleRate / (static_cast<float>(lag) - (before - after) * 0.5F * scale);
}

} // namespace Velmora::dsp
