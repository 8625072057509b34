// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/Biquads.h"

#include <cmath>
#include <numbers>

namespace orphia_reference {

double WarpedFrequency(double frequencyHz, double sampleRate) {
    return std::tan(std::numbers::pi * frequencyHz / sampleRate);
}

BiquadCircuit BiquadCircuit::FromFcAndQ(Shape shape, double fc, double q) {
    return {shape, 2.0 * std::numbers::pi * fc, 0.5 / q};
}

Complex BiquadCircuit::Response(double frequencyHz, double sampleRate) const {
    const double corner = std::tan(0.5 * angularCorner / sampleRate);
    const Complex s(0.0, WarpedFrequency(frequencyHz, sampleRate) / corner);
    const Complex resonance = s * (2.0 * damping);
    const Complex denominator = s * s + resonance + 1.0;
    switch (shape) {
    case Shape::HighPass:
        return s * s / denominator;
    case Shape::BandPass:
        return resonance / denominator;
    case Shape::LowPass:
        break;
    }
    return 1.0 / denominator;
}

void Biquad::Design(const BiquadCircuit& circuit, double sampleRate) {
    const double w = circuit.angularCorner / sampleRate;
    const double alpha = std::sin(w) * circuit.damping;
    const double cosine = std::cos(w);
    switch (circuit.shape) {
    case Shape::LowPass:
        b1 = 1.0 - cosine;
        b0 = b2 = 0.5 * b1;
        break;
    case Shape::HighPass:
        b1 = -(1.0 + cosine);
        b0 = b2 = -0.5 * b1;
        break;
    case Shape::BandPass:
        b0 = alpha;
        b1 = 0.0;
        b2 = -alpha;
        break;
    }
    a0 = 1.0 + alpha;
    a1 = -2.0 * cosine;
    a2 = 1.0 - alpha;
}

double Biquad::Step(double x, double gain) {
    const double y = ((b0 * x + b1 * x1 + b2 * x2) * gain - a1 * y1 - a2 * y2) / a0;
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    return y;
}

void OnePole::Design(const OnePoleCircuit& circuit, double sampleRate) {
    const double t = std::tan(circuit.halfAngularCorner / sampleRate);
    const bool isHighPass = circuit.shape == Shape::HighPass;
    b0 = (isHighPass ? 1.0 : t) / (1.0 + t);
    b1 = isHighPass ? -b0 : b0;
    a1 = -(1.0 - t) / (1.0 + t);
}

double OnePole::Step(double x, double gain) {
    const double y = gain * (b0 * x + b1 * x1) - a1 * y1;
    x1 = x;
    y1 = y;
    return y;
}

} // namespace orphia_reference
