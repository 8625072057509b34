// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <complex>
#include <numbers>

/// The small-signal response of the overdrive circuit, from Kirchhoff's law at its nodes.
namespace orphia::test {

using Gain = std::complex<double>;

inline Gain ComplexFrequency(double hz) { return {0.0, 2.0 * std::numbers::pi * hz}; }

/// The tone stage with the wiper at a share of its pot: the unknowns are both inputs of the op-amp, which are
/// one node, and the wiper; then its output.
inline Gain ToneOfTheNodes(double share, double hz) {
    const Gain s = ComplexFrequency(hz);
    const double atInput = 1.0 / (20e3 * share + 1e-3);
    const double atFeedback = 1.0 / (20e3 * (1.0 - share) + 1e-3);
    const Gain toGround = 1.0 / (220.0 + 1.0 / (s * 0.22e-6));
    // The wiper for 1 V at the op-amp.
    const Gain wiper = (atInput + atFeedback) / (atInput + atFeedback + toGround);
    const Gain source = 1.0 + 1e3 * (1e-4 + s * 0.22e-6 + (1.0 - wiper) * atInput);
    const Gain output = 1.0 + 1e3 * (1.0 - wiper) * atFeedback;
    return output / source;
}

/// The clipping stage for a signal that leaves the diodes alone.
inline Gain ClipperOfTheNodes(double feedbackOhms, double hz) {
    const Gain s = ComplexFrequency(hz);
    const double diodes = 2.0 * 2.52e-9 / (1.752 * 0.02585);
    return 1.0 + 1.0 / ((1.0 / feedbackOhms + diodes + s * 51e-12) * (4.7e3 + 1.0 / (s * 47e-9)));
}

} // namespace orphia::test
