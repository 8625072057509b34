// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <complex>

/// Double-precision models of the vocoder's circuits, derived from the circuit values alone. Nothing here
/// shares a line with the engine, so that the two can be held against each other.
namespace orphia_reference {

using Complex = std::complex<double>;

enum class Shape { LowPass, HighPass, BandPass };

/// A second-order section by its analogue values. The digital section is its bilinear image, with the corner
/// kept in place.
struct BiquadCircuit {
    Shape shape = Shape::LowPass;
    double angularCorner = 0.0; ///< 2 pi Fc, radians per second
    double damping = 0.5;       ///< 1 / (2 Q)

    static BiquadCircuit FromFcAndQ(Shape shape, double fc, double q);

    /// Complex gain of the digital section, computed on the analogue prototype.
    Complex Response(double frequencyHz, double sampleRate) const;
};

/// A first-order section by its analogue values; low-pass or high-pass only.
struct OnePoleCircuit {
    Shape shape = Shape::LowPass;
    double halfAngularCorner = 0.0; ///< pi Fc
};

/// Direct form 1, one sample at a time.
struct Biquad {
    double b0 = 0.0, b1 = 0.0, b2 = 0.0;
    double a0 = 1.0, a1 = 0.0, a2 = 0.0;
    double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;

    /// Replaces the coefficients and keeps the state.
    void Design(const BiquadCircuit& circuit, double sampleRate);

    /// `gain` stands on the feed-forward sum, before the feedback terms.
    double Step(double x, double gain = 1.0);
};

/// First-order section, direct form 1.
struct OnePole {
    double b0 = 0.0, b1 = 0.0, a1 = 0.0;
    double x1 = 0.0, y1 = 0.0;

    void Design(const OnePoleCircuit& circuit, double sampleRate);
    double Step(double x, double gain = 1.0);
};

/// Radians per sample halved and bent by the bilinear transform: tan(w / 2).
double WarpedFrequency(double frequencyHz, double sampleRate);

} // namespace orphia_reference
