// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

/// The loudness that sweeps an effect: the peaks of both channels with attack and release, one value a quad
/// of frames, 0..1. It is the root of the level, so that soft playing moves something as well.
class SweepEnvelope {
public:
    using Float4 = simd::Float4;

    void Reset() { level = 0.0F; }

    /// Time constants in milliseconds.
    void SetTimes(float attackMs, float releaseMs, float sampleRate) {
        const auto coefficient = [sampleRate](float milliseconds) {
            return -std::expm1(-4000.0F / (milliseconds * sampleRate));
        };
        attack = coefficient(attackMs);
        release = coefficient(releaseMs);
    }

    /// What it gets is finite.
    float Follow(Float4 left, Float4 right) {
        constexpr float silence = 1e-9F;
        alignas(16) float peaks[Float4::size];
        xsimd::max(xsimd::abs(left), xsimd::abs(right)).store_aligned(peaks);
        // Full scale is the end, lest a fault upstream is remembered for long.
        const float peak =
            std::min(std::max(std::max(peaks[0], peaks[1]), std::max(peaks[2], peaks[3])), 1.0F);
        level += (peak > level ? attack : release) * (peak - level);
        level = level > silence ? level : 0.0F;
        return std::sqrt(level);
    }

private:
    float level = 0.0F;
    float attack = 1.0F;
    float release = 1.0F;
};

} // namespace Velmora::dsp
