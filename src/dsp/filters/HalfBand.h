// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/IntactState.h"
#include "dsp/vectors/StereoPair.h"
#include "support/platform/Types.h"

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

} // namespace Velmora::dsp
