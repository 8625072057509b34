// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace orphia::test {

/// The frequency of the partial next to `nearHz`: the phase of that partial turns from the first half of the
/// signal to the second by its distance from it. Not a number when there is none within 60 dB of the whole.
inline double MeasurePitch(const std::vector<float>& signal, double nearHz, double rate) {
    const std::size_t half = signal.size() / 2;
    double power = 0.0;
    for (const float x : signal) {
        power += static_cast<double>(x) * static_cast<double>(x);
    }
    double estimate = nearHz;
    double amplitude = 0.0;
    for (int pass = 0; pass < 4; ++pass) {
        const double step = 2.0 * std::numbers::pi * estimate / rate;
        std::complex<double> sums[2];
        for (std::size_t part = 0; part < 2; ++part) {
            for (std::size_t n = 0; n < half; ++n) {
                const double x =
                    std::sin(std::numbers::pi * (static_cast<double>(n) + 0.5) / static_cast<double>(half));
                const std::size_t at = part * half + n;
                sums[part] += static_cast<double>(signal[at]) * x * x * x * x *
                              std::polar(1.0, -step * static_cast<double>(at));
            }
        }
        // The window's mean is 3/8.
        amplitude = (std::abs(sums[0]) + std::abs(sums[1])) / (0.375 * static_cast<double>(half));
        const double turn = std::arg(sums[1] * std::conj(sums[0]));
        estimate += turn / (2.0 * std::numbers::pi) * rate / static_cast<double>(half);
    }
    return amplitude > 1e-3 * std::sqrt(power / static_cast<double>(signal.size())) ? estimate : NAN;
}

inline double Cents(double hz, double reference) { return 1200.0 * std::log2(hz / reference); }

inline double NoteHz(double note) { return 440.0 * std::exp2((note - 69.0) / 12.0); }

} // namespace orphia::test
