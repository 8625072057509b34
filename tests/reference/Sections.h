// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

/// Double-precision models of the vocoder's circuits, derived from the circuit values alone. Nothing here
/// shares a line with the engine, so that the two can be held against each other.
namespace orphia_reference {

inline constexpr double twoPi = 2.0 * std::numbers::pi;

enum class Shape { LowPass, HighPass, BandPass };

/// A second-order section in direct form 1: the bilinear image of an analogue one, with its corner (2 pi Fc)
/// kept in place. The damping is 1 / (2 Q).
struct Biquad {
    double b0 = 0.0, b1 = 0.0, b2 = 0.0, a0 = 1.0, a1 = 0.0, a2 = 0.0;
    double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;

    Biquad() = default;
    Biquad(Shape shape, double corner, double damping, double rate) { Design(shape, corner, damping, rate); }
    static Biquad OfQ(Shape shape, double fc, double q, double sampleRate) {
        return {shape, twoPi * fc, 0.5 / q, sampleRate};
    }

    /// Replaces the coefficients and keeps the state.
    void Design(Shape shape, double corner, double damping, double rate) {
        const double cosine = std::cos(corner / rate);
        const double alpha = std::sin(corner / rate) * damping;
        b1 = shape == Shape::LowPass ? 1.0 - cosine : -(1.0 + cosine);
        b0 = b2 = 0.5 * std::abs(b1);
        if (shape == Shape::BandPass) {
            b0 = alpha;
            b1 = 0.0;
            b2 = -alpha;
        }
        a0 = 1.0 + alpha;
        a1 = -2.0 * cosine;
        a2 = 1.0 - alpha;
    }

    /// `gain` stands on the feed-forward sum, before the feedback terms.
    double Step(double x, double gain = 1.0) {
        const double y = ((b0 * x + b1 * x1 + b2 * x2) * gain - a1 * y1 - a2 * y2) / a0;
        x2 = std::exchange(x1, x);
        y2 = std::exchange(y1, y);
        return y;
    }
};

/// A first-order section, low-pass or high-pass, by half its angular corner, pi Fc.
struct OnePole {
    double b0 = 0.0, b1 = 0.0, a1 = 0.0;
    double x1 = 0.0, y1 = 0.0;

    OnePole() = default;
    OnePole(Shape shape, double halfCorner, double sampleRate) { Design(shape, halfCorner, sampleRate); }
    void Design(Shape shape, double halfCorner, double sampleRate) {
        const double t = std::tan(halfCorner / sampleRate);
        b0 = (shape == Shape::HighPass ? 1.0 : t) / (1.0 + t);
        b1 = shape == Shape::HighPass ? -b0 : b0;
        a1 = -(1.0 - t) / (1.0 + t);
    }
    double Step(double x, double gain = 1.0) {
        y1 = gain * (b0 * x + b1 * x1) - a1 * y1;
        x1 = x;
        return y1;
    }
};

/// Exponential approach to a target: five time constants fit in the set time, and the tail is cut once a
/// step would be below 1e-12 of the target.
struct SmootherModel {
    double coefficient;
    double current = 0.0, target = 0.0;
    bool isFresh = true;

    SmootherModel(double seconds, double rate) : coefficient(-std::expm1(-5.0 / (rate * seconds))) {}
    /// The first value is there at once.
    void Approach(double value) {
        target = value;
        current = std::exchange(isFresh, false) ? value : current;
    }
    double Next() {
        const double step = (target - current) * coefficient;
        current = std::abs(step) >= std::max(std::abs(target) * 1e-12, 1e-20) ? current + step : target;
        return current;
    }
};

/// Follows a level with one time upwards and another one downwards, in seconds to 1/e.
struct AttackReleaseModel {
    double attack = 0.0, release = 0.0, level = 0.0;

    void SetTimes(double attackSeconds, double releaseSeconds, double rate) {
        attack = -std::expm1(-1.0 / (attackSeconds * rate));
        release = -std::expm1(-1.0 / (releaseSeconds * rate));
    }
    double Step(double target) { return level += (target - level) * (target > level ? attack : release); }
};

/// RMS of the difference over RMS of the reference, in dB.
inline double DifferenceDb(const std::vector<float>& got, const std::vector<double>& expected) {
    double difference = 0.0;
    double power = 0.0;
    for (std::size_t n = 0; n < got.size(); ++n) {
        difference += std::pow(static_cast<double>(got[n]) - expected[n], 2.0);
        power += expected[n] * expected[n];
    }
    return 10.0 * std::log10((difference + 1e-30) / (power + 1e-30));
}

} // namespace orphia_reference
