// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <cmath>
#include <numbers>

/// What all low-frequency oscillators have in common.
namespace Velmora::Test {

inline double Fraction(double x) { return x - std::floor(x); }

/// Sine, triangle, rising and falling ramp and square, at a phase in cycles.
inline double Wave(u32 shape, double x) {
    const double p = Fraction(x);
    const double waves[] = {std::sin(2.0 * std::numbers::pi * p),
                            1.0 - std::abs(4.0 * Fraction(p + 0.25) - 2.0), 2.0 * p - 1.0, 1.0 - 2.0 * p,
                            p < 0.5 ? 1.0 : -1.0};
    return waves[shape];
}

} // namespace Velmora::Test
