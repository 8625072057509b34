// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>
#include <utility>
#include <vector>

/// Double-precision models of the vocoder's circuits, derived from the circuit values alone. Nothing here
/// shares a line with the engine, so that the two can be held against each other.
namespace orphia_reference {

inline constexpr double twoPi = 2.0 * std::numbers::pi;

enum class Shape { LowPass, HighPass, BandPass };

/// A section of any order in direct form 1: the bilinear image of an analogue one.
template <std::size_t N>
struct Section {
    using Polynomial = std::array<double, N + 1>;
    /// By rising delay; in the histories, 0 is the newest.
    Polynomial b{}, a{}, x{}, y{};

    Section() = default;
    /// The angle is half the corner in radians per sample, and kept in place; the damping is 1 / (2 Q).
    Section(Shape shape, double angle, double damping = 0.5) { Design(shape, angle, damping); }
    static Section OfQ(Shape shape, double fc, double q, double rate) {
        return {shape, 0.5 * twoPi * fc / rate, 0.5 / q};
    }
    /// Replaces the coefficients and keeps the state.
    void Design(Shape shape, double angle, double damping = 0.5) {
        Polynomial numerator{};
        Polynomial denominator{1.0, 2.0 * damping};
        denominator[N] = 1.0;
        const bool isBand = shape == Shape::BandPass;
        numerator[isBand ? 1 : shape == Shape::HighPass ? N : 0] = isBand ? 2.0 * damping : 1.0;
        Map(numerator, denominator, 1.0 / std::tan(angle));
    }
    /// From polynomials by rising power of s = scale (1 - z^-1) / (1 + z^-1).
    void Map(const Polynomial& numerator, const Polynomial& denominator, double scale) {
        a = Image(denominator, scale, 1.0);
        b = Image(numerator, scale, 1.0 / a[0]);
        a = Image(denominator, scale, 1.0 / a[0]);
    }
    /// `gain` stands on the feed-forward sum, before the feedback terms.
    double Step(double input, double gain = 1.0) {
        double forward = b[0] * input;
        double back = 0.0;
        for (std::size_t i = N; i > 0; --i) {
            forward += b[i] * (x[i] = x[i - 1]);
            back += a[i] * (y[i] = y[i - 1]);
        }
        x[0] = input;
        return y[0] = gain * forward - back;
    }

private:
    static Polynomial Image(const Polynomial& p, double scale, double factor) {
        Polynomial result{};
        for (std::size_t k = 0; k <= N; ++k) {
            Polynomial term{factor * p[k] * std::pow(scale, static_cast<double>(k))};
            for (std::size_t i = 0; i < N; ++i) {
                for (std::size_t delay = N; delay > 0; --delay) {
                    term[delay] += (i < k ? -1.0 : 1.0) * term[delay - 1];
                }
            }
            std::transform(term.begin(), term.end(), result.begin(), result.begin(), std::plus<>());
        }
        return result;
    }
};

using Biquad = Section<2>;
using OnePole = Section<1>;

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
