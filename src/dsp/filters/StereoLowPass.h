// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/CornerAngle.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace Velmora::dsp {

/// A Butterworth low-pass of order 2 * sectionCount for two channels, as state variable filters, whose corner
/// may move in every quad of frames.
template <u32 sectionCount>
class StereoLowPass {
public:
    using Float4 = simd::Float4;

    /// The setting for a corner in Hz, held by CornerAngle.h: the binary logarithm of the tangent of half
    /// its angle, so that what glides, glides evenly.
    static float Setting(double hz, double sampleRate) {
        return static_cast<float>(std::log2(
            std::tan(std::numbers::pi * std::min(hz, highestCornerShare<double> * sampleRate) / sampleRate)));
    }

    void Reset() { states = {}; }

    bool IsSound() const {
        Float4 sum(0.0F);
        for (const Section& state : states) {
            sum += xsimd::abs(state.band) + xsimd::abs(state.low);
        }
        return IsIntact(static_cast<double>(xsimd::hadd(sum)));
    }

    void Set(float setting) {
        gain = std::exp2(setting);
        for (u32 k = 0; k < sectionCount; ++k) {
            // The pairs of poles lie evenly on a half circle.
            const double angle = std::numbers::pi * (2.0 * k + 1.0) / (4.0 * sectionCount);
            const auto damping = static_cast<float>(2.0 * std::cos(angle));
            scales[k] = 1.0F / (1.0F + gain * (gain + damping));
        }
    }

    /// Lanes 0 and 1 are left and right.
    Float4 Tick(Float4 x) {
        for (u32 k = 0; k < sectionCount; ++k) {
            Section& state = states[k];
            const Float4 band = (state.band + (x - state.low) * gain) * scales[k];
            const Float4 low = state.low + band * gain;
            state.band = band + band - state.band;
            state.low = low + low - state.low;
            x = low;
        }
        return x;
    }

private:
    struct Section {
        Float4 band = Float4(0.0F);
        Float4 low = Float4(0.0F);
    };

    float gain = 1.0F;
    std::array<float, sectionCount> scales{};
    std::array<Section, sectionCount> states{};
};

} // namespace Velmora::dsp
