// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Velmora::dsp {

/// A low-pass of first order, y += c * (x - y), over four frames at once: only one product has to
/// wait for the quad before.
class QuadOnePole {
public:
    using Float4 = simd::Float4;

    /// The coefficient c, as what each frame adds to those after it; 1 lets everything through to the bit.
    struct Coefficients {
        explicit Coefficients(float c = 1.0F) {
            const float a = 1.0F - c;
            fromFirst = Float4{c, c * a, c * a * a, c * a * a * a};
            fromSecond = Float4{0.0F, c, c * a, c * a * a};
            fromThird = Float4{0.0F, 0.0F, c, c * a};
            fromFourth = Float4{0.0F, 0.0F, 0.0F, c};
            fromLast = Float4{a, a * a, a * a * a, a * a * a * a};
        }
        Float4 fromFirst;
        Float4 fromSecond;
        Float4 fromThird;
        Float4 fromFourth;
        /// From the result of the quad before.
        Float4 fromLast;
    };

    /// c for a loss of 3 dB at a frequency in Hz, exact up to the Nyquist frequency; 1 above.
    static float CoefficientOf(float hz, float sampleRate) {
        const float turn = 2.0F * std::numbers::pi_v<float> * hz / sampleRate;
        if (turn >= std::numbers::pi_v<float>) {
            return 1.0F;
        }
        // 1 - cos, without the loss of digits at low frequencies.
        const float half = std::sin(0.5F * turn);
        const float k = 2.0F * half * half;
        return std::min(std::sqrt(k * k + 2.0F * k) - k, 1.0F);
    }

    /// c for a high-pass that loses 3 dB at a frequency in Hz, which is held to a fifth of the rate: that of
    /// the bilinear transform. The high-pass is HighPassGain(c) * (x - y).
    static float HighPassCoefficientOf(float hz, float sampleRate) {
        const float t = std::tan(std::numbers::pi_v<float> * std::min(hz / sampleRate, 0.2F));
        return 2.0F * t / (1.0F + t);
    }
    static float HighPassGain(float c) { return (1.0F - 0.5F * c) / (1.0F - c); }

    Float4 Tick(Float4 x, const Coefficients& with) {
        const Float4 news = (with.fromFirst * x.get(0) + with.fromSecond * x.get(1)) +
                            (with.fromThird * x.get(2) + with.fromFourth * x.get(3));
        const Float4 y = news + with.fromLast * last;
        last = y.get(3);
        return y;
    }

    void Reset() { last = 0.0F; }
    float Last() const { return last; }

private:
    float last = 0.0F;
};

} // namespace Velmora::dsp
