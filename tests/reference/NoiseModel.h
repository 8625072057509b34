// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Biquads.h"

#include <array>
#include <cstdint>

namespace orphia_reference {

/// White noise from a 32-bit xorshift. A seed of 0 stays at the lower rail.
struct WhiteNoiseModel {
    std::uint32_t state = 1;

    /// The sample as the single-precision generator makes it, bit for bit.
    double Next();
};

/// The fifth-order circuit that shapes the noise, followed by a high-pass at 2300 Hz.
struct NoiseShapingModel {
    NoiseShapingModel(double sampleRate);
    double Step(double x);

    static Complex Response(double frequencyHz, double sampleRate);

private:
    /// Unnormalized coefficients of the digital filter, current sample first.
    std::array<double, 6> numerator{};
    std::array<double, 6> denominator{};
    std::array<double, 6> inputs{};
    std::array<double, 6> outputs{};
    Biquad highPass;
};

} // namespace orphia_reference
