// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cmath>

namespace orphia_reference {

/// A knob's law between its position, 0 to 1, and its real value. A bend of 0 is a straight line.
struct KnobLaw {
    double minimum = 0.0;
    double maximum = 1.0;
    double bend = 0.0;

    double ToReal(double position) const {
        const double shaped = bend == 0.0 ? position : std::expm1(bend * position) / std::expm1(bend);
        return minimum + shaped * (maximum - minimum);
    }
    double ToPosition(double real) const {
        const double shaped = (std::clamp(real, minimum, maximum) - minimum) / (maximum - minimum);
        return bend == 0.0 ? shaped : std::clamp(std::log1p(shaped * std::expm1(bend)) / bend, 0.0, 1.0);
    }

    /// The real value after a modulation offset on the position scale, clamped to the knob's travel.
    double Offset(double real, double offset) const {
        return ToReal(std::clamp(ToPosition(real) + offset, 0.0, 1.0));
    }
};

inline constexpr KnobLaw levelLaw{-75.0, 0.0, -3.0};
inline constexpr KnobLaw attackLaw{0.001, 1.0, 7.0};
inline constexpr KnobLaw releaseLaw{0.01, 30.0, 7.0};
inline constexpr KnobLaw bipolarLaw{-1.0, 1.0, 0.0};

} // namespace orphia_reference
