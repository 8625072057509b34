// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Within.h"
#include "dsp/vectors/StereoPair.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Velmora::dsp {

/// The coefficients of an elliptic half-band low-pass as the mean of two all-pass branches: the number
/// wanted, in turn for the one and the other. passEdge is the end of the pass band as a share of the higher
/// rate, below 0.25; the stop band begins as far above a quarter as that lies below.
///
/// R. A. Valenzuela, A. G. Constantinides, "Digital signal processing schemes for efficient interpolation and
/// decimation", IEE Proceedings 130 G (1983).
void DesignHalfBand(double passEdge, double* coefficients, u32 count);

/// Which way a half-band filter changes the rate.
enum class RateChange { Double, Halve };

/// A stereo half-band filter that doubles or halves the rate of two channels: the four all-pass branches, two
/// for each channel, run side by side at the lower rate. Doubling and halving make an all-pass together.
template <u32 sectionCount, RateChange change>
class HalfBand {
public:
    using Float4 = simd::Float4;

    explicit HalfBand(double passEdge) {
        std::array<double, 2 * sectionCount> design{};
        DesignHalfBand(passEdge, design.data(), 2 * sectionCount);
        for (u32 k = 0; k < sectionCount; ++k) {
            const auto even = static_cast<float>(design[2 * k]);
            const auto odd = static_cast<float>(design[2 * k + 1]);
            // The later of two frames goes through the branch without the half-sample delay.
            const bool doubles = change == RateChange::Double;
            coefficients[k] = doubles ? Float4{even, even, odd, odd} : Float4{odd, odd, even, even};
        }
        Reset();
    }

    void Reset() { states.fill(Float4(0.0F)); }
    bool HasStateOf(const HalfBand& other) const {
        return std::equal(states.begin(), states.end(), other.states.begin(),
                          [](const Float4& a, const Float4& b) { return xsimd::all(a == b); });
    }

    bool IsSound() const {
        Float4 sum(0.0F);
        for (const Float4& state : states) {
            sum += xsimd::abs(state);
        }
        return IsIntact(static_cast<double>(xsimd::hadd(sum)));
    }

    /// Doubling: two equal frames become two successive ones. Halving: two successive frames become one,
    /// which stands twice.
    Float4 Tick(Float4 frames) {
        Float4 x = frames;
        Float4 before = states[0];
        states[0] = x;
        for (u32 k = 0; k < sectionCount; ++k) {
            const Float4 own = states[k + 1];
            x = coefficients[k] * (x - own) + before;
            before = own;
            states[k + 1] = x;
        }
        if constexpr (change == RateChange::Halve) {
            x = (simd::FirstFrameTwice(x) + simd::SecondFrameTwice(x)) * 0.5F;
        }
        return x;
    }

private:
    std::array<Float4, sectionCount> coefficients;
    /// The input of a section is the output of the one before it.
    std::array<Float4, sectionCount + 1> states;
};

/// Runs a stage for two channels at a multiple of the rate: 1, 2, 4 or 8. From 0.4535 of the rate (20 kHz at
/// 44100 Hz) down, images and aliases of the filters are suppressed by 104 dB at least, and the way up and
/// down has unity gain within 1e-4 dB. `depth` tells by how much the rate is raised already.
template <u32 factor, u32 depth = 1>
class Oversampler {
public:
    using Float4 = simd::Float4;
    static_assert(factor == 2 || factor == 4 || factor == 8);

    void Reset() {
        up.Reset();
        down.Reset();
        inner.Reset();
    }

    /// False when a filter state is not a number or has run away.
    bool IsSound() const { return up.IsSound() && down.IsSound() && inner.IsSound(); }
    bool HasStateOf(const Oversampler& other) const {
        return up.HasStateOf(other.up) && down.HasStateOf(other.down) && inner.HasStateOf(other.inner);
    }

    /// Two frames of left and right through stage, which takes and gives two frames at the higher rate, in
    /// the order of time.
    template <class Stage>
    Float4 Run(Float4 frames, Stage&& stage) {
        const Float4 first = RunFrame(simd::FirstFrameTwice(frames), stage);
        const Float4 second = RunFrame(simd::SecondFrameTwice(frames), stage);
        return simd::JoinFrames(first, second);
    }

private:
    /// The first filter has 4.1 kHz of 44.1 kHz for its slope, the others have more than half their band.
    static constexpr u32 sectionCount = depth == 1 ? 4 : 2;
    static constexpr double passEdge = 20000.0 / 44100.0 / (2.0 * depth);

    template <class Stage>
    Float4 RunFrame(Float4 frame, Stage&& stage) {
        return down.Tick(inner.Run(up.Tick(frame), stage));
    }

    HalfBand<sectionCount, RateChange::Double> up{passEdge};
    HalfBand<sectionCount, RateChange::Halve> down{passEdge};
    Oversampler<factor / 2, 2 * depth> inner;
};

/// At the rate as it is.
template <u32 depth>
class Oversampler<1, depth> {
public:
    void Reset() {}
    bool IsSound() const { return true; }
    bool HasStateOf(const Oversampler& /*other*/) const { return true; }

    template <class Stage>
    simd::Float4 Run(simd::Float4 frames, Stage&& stage) {
        return stage(frames);
    }
};

} // namespace Velmora::dsp
