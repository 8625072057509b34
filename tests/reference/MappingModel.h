// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia_reference {

/// A knob's law between its position, 0 to 1, and its real value. A bend of 0 is a straight line.
struct KnobLaw {
    double minimum = 0.0;
    double maximum = 1.0;
    double bend = 0.0;

    double ToReal(double position) const;
    double ToPosition(double real) const;

    /// The real value after a modulation offset on the position scale, clamped to the knob's travel.
    double Offset(double real, double offset) const;
};

inline constexpr KnobLaw levelLaw{-75.0, 0.0, -3.0};
inline constexpr KnobLaw attackLaw{0.001, 1.0, 7.0};
inline constexpr KnobLaw releaseLaw{0.01, 30.0, 7.0};
inline constexpr KnobLaw gainBandLaw{0.0, 1.0, 3.0};
inline constexpr KnobLaw noiseLevelLaw{-24.0, 24.0, -3.0};
inline constexpr KnobLaw bipolarLaw{-1.0, 1.0, 0.0};
inline constexpr KnobLaw unipolarLaw{0.0, 1.0, 0.0};

} // namespace orphia_reference
