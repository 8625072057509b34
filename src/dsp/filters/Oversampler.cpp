// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/filters/Oversampler.h"

#include <cmath>
#include <numbers>

namespace Velmora::dsp {

namespace {

/// The nome of the elliptic modulus, by its series in that of the complementary one.
double Nome(double modulus) {
    const double root = std::pow(1.0 - modulus * modulus, 0.25);
    const double e = 0.5 * (1.0 - root) / (1.0 + root);
    const double e4 = e * e * e * e;
    return e * (1.0 + e4 * (2.0 + e4 * (15.0 + e4 * 150.0)));
}

/// sqrt(k) sn(u), u as a share of half the real period, as a quotient of theta functions.
double ScaledSine(double share, double nome) {
    constexpr u32 terms = 8;
    const double angle = share * std::numbers::pi;
    double numerator = 0.0;
    double denominator = 0.5;
    double sign = 1.0;
    for (u32 i = 0; i < terms; ++i) {
        numerator += sign * std::pow(nome, i * (i + 1.0)) * std::sin((2.0 * i + 1.0) * angle);
        sign = -sign;
        denominator += sign * std::pow(nome, (i + 1.0) * (i + 1.0)) * std::cos((2.0 * i + 2.0) * angle);
    }
    return std::pow(nome, 0.25) * numerator / denominator;
}

} // namespace

void DesignHalfBand(double passEdge, double* coefficients, u32 count) {
    const double edge = std::tan(std::numbers::pi * passEdge);
    const double modulus = edge * edge;
    const double nome = Nome(modulus);
    for (u32 k = 0; k < count; ++k) {
        const double sine = ScaledSine((k + 1.0) / (2.0 * count + 1.0), nome);
        const double square = sine * sine;
        const double pole = std::sqrt((1.0 - square * modulus) * (1.0 - square / modulus)) / (1.0 + square);
        coefficients[k] = (1.0 - pole) / (1.0 + pole);
    }
}

} // namespace Velmora::dsp
