// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/Biquads.h"

#include <cmath>
#include <numbers>

namespace orphia_reference {

namespace {

template <typename T>
struct BiquadValues {
    T b0, b1, b2, a0, a1, a2;
};

template <typename T>
BiquadValues<T> ComputeBiquad(const BiquadCircuit& circuit, double sampleRate, bool normalized) {
    const T w = static_cast<T>(circuit.angularCorner) / static_cast<T>(sampleRate);
    const T alpha = std::sin(w) * static_cast<T>(circuit.damping);
    const T cosine = std::cos(w);
    const T one = T(1);
    BiquadValues<T> v{};
    switch (circuit.shape) {
    case Shape::LowPass:
        v.b1 = one - cosine;
        v.b0 = v.b2 = v.b1 * T(0.5);
        break;
    case Shape::HighPass:
        v.b1 = -(one + cosine);
        v.b0 = v.b2 = (one + cosine) * T(0.5);
        break;
    case Shape::BandPass:
        v.b0 = alpha;
        v.b1 = T(0);
        v.b2 = -alpha;
        break;
    }
    v.a0 = one + alpha;
    v.a1 = T(-2) * cosine;
    v.a2 = one - alpha;
    if (normalized) {
        const T n = one / v.a0;
        v = {v.b0 * n, v.b1 * n, v.b2 * n, one, v.a1 * n, v.a2 * n};
    }
    return v;
}

template <typename T>
struct OnePoleValues {
    T b0, b1, a1;
};

template <typename T>
OnePoleValues<T> ComputeOnePole(const OnePoleCircuit& circuit, double sampleRate) {
    const T t = std::tan(static_cast<T>(circuit.halfAngularCorner) / static_cast<T>(sampleRate));
    const T a1 = -(T(1) - t) / (T(1) + t);
    if (circuit.shape == Shape::HighPass) {
        const T b0 = T(1) / (T(1) + t);
        return {b0, -b0, a1};
    }
    const T b0 = t / (T(1) + t);
    return {b0, b0, a1};
}

double Rounded(double value) { return static_cast<double>(static_cast<float>(value)); }

template <typename T>
void Store(Biquad& section, const BiquadValues<T>& v) {
    section.b0 = static_cast<double>(v.b0);
    section.b1 = static_cast<double>(v.b1);
    section.b2 = static_cast<double>(v.b2);
    section.a0 = static_cast<double>(v.a0);
    section.a1 = static_cast<double>(v.a1);
    section.a2 = static_cast<double>(v.a2);
}

} // namespace

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

Complex OnePoleCircuit::Response(double frequencyHz, double sampleRate) const {
    const double corner = std::tan(halfAngularCorner / sampleRate);
    const Complex s(0.0, WarpedFrequency(frequencyHz, sampleRate) / corner);
    return (shape == Shape::HighPass ? s : Complex(1.0)) / (1.0 + s);
}

void Biquad::Design(const BiquadCircuit& circuit, double sampleRate, CoefficientMath math, bool normalized) {
    if (math == CoefficientMath::Single) {
        Store(*this, ComputeBiquad<float>(circuit, sampleRate, normalized));
        return;
    }
    Store(*this, ComputeBiquad<double>(circuit, sampleRate, normalized));
    if (math == CoefficientMath::RoundedToSingle) {
        for (double* c : {&b0, &b1, &b2, &a0, &a1, &a2}) {
            *c = Rounded(*c);
        }
    }
}

double Biquad::Step(double x, double gain) {
    const double y = ((b0 * x + b1 * x1 + b2 * x2) * gain - a1 * y1 - a2 * y2) / a0;
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    return y;
}

void OnePole::Design(const OnePoleCircuit& circuit, double sampleRate, CoefficientMath math) {
    if (math == CoefficientMath::Single) {
        const auto v = ComputeOnePole<float>(circuit, sampleRate);
        b0 = static_cast<double>(v.b0);
        b1 = static_cast<double>(v.b1);
        a1 = static_cast<double>(v.a1);
        return;
    }
    const auto v = ComputeOnePole<double>(circuit, sampleRate);
    const bool rounded = math == CoefficientMath::RoundedToSingle;
    b0 = rounded ? Rounded(v.b0) : v.b0;
    b1 = rounded ? Rounded(v.b1) : v.b1;
    a1 = rounded ? Rounded(v.a1) : v.a1;
}

double OnePole::Step(double x, double gain) {
    const double y = gain * (b0 * x + b1 * x1) - a1 * y1;
    x1 = x;
    y1 = y;
    return y;
}

} // namespace orphia_reference
