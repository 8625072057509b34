// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/effects/EqualiserCurve.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <utility>

namespace orphia::panel {

namespace {

using Number = std::complex<double>;

constexpr double leastDecibels = -120.0;

/// A state-variable filter whose three outputs are mixed; s is 1 j at the corner.
struct Shape {
    double damping = 1.0;
    double cornerScale = 1.0;
    double low = 0.0;
    double band = 0.0;
    double high = 0.0;
};

Shape ShapeOf(const EqualiserCurve::Band& band) {
    const double damping = 1.0 / band.q;
    // It counts twice.
    const double gain = std::pow(10.0, band.decibels / 40.0);
    switch (band.mode) {
    case EqualiserCurve::LowPass:
        return {damping, 1.0, 1.0, 0.0, 0.0};
    case EqualiserCurve::BandPass:
        return {damping, 1.0, 0.0, 1.0, 0.0};
    case EqualiserCurve::HighPass:
        return {damping, 1.0, 0.0, 0.0, 1.0};
    case EqualiserCurve::LowShelf:
        return {damping, 1.0 / std::sqrt(gain), gain * gain, gain * damping, 1.0};
    case EqualiserCurve::Bell:
        return {damping / gain, 1.0, 1.0, gain * damping, 1.0};
    default:
        return {damping, std::sqrt(gain), 1.0, gain * damping, gain * gain};
    }
}

} // namespace

EqualiserCurve::EqualiserCurve(std::vector<Band> ofBands, double sampleRate)
    : rate(sampleRate), bands(std::move(ofBands)) {}

double EqualiserCurve::Decibels(double hz) const {
    const auto warped = [this](double frequency) {
        return std::tan(std::numbers::pi * std::min(frequency / rate, 0.499));
    };
    double sum = 0.0;
    for (const Band& band : bands) {
        const Shape shape = ShapeOf(band);
        const Number s(0.0, warped(hz) / (warped(band.hz) * shape.cornerScale));
        const Number answer =
            (shape.low + shape.band * s + shape.high * s * s) / (1.0 + shape.damping * s + s * s);
        sum += std::max(20.0 * std::log10(std::abs(answer)), leastDecibels);
    }
    return sum;
}

} // namespace orphia::panel
