// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/NoiseModel.h"

#include <algorithm>

namespace orphia_reference {

namespace {

using Polynomial = std::array<double, 6>; // by rising power

constexpr double shapingGain = 11.092;
constexpr Polynomial analogueNumerator{-0.006567142,  0.00012259114, -1.7005057e-06,
                                       1.2277966e-13, 5.9999225e-19, -3.4062336e-25};
constexpr Polynomial analogueDenominator{1.0,           0.0027577083,  1.7417563e-06,
                                         5.2809288e-11, 4.2178053e-16, 1.7793773e-22};
const BiquadCircuit noiseHighPass{Shape::HighPass, 14451.326, 0.70710355};

Complex Evaluate(const Polynomial& p, Complex s) {
    Complex sum = 0.0;
    for (std::size_t power = p.size(); power-- > 0;) {
        sum = sum * s + p[power];
    }
    return sum;
}

/// Multiplies by (1 + sign z^-1), dropping what the multiplicand never reaches.
Polynomial TimesFirstOrder(const Polynomial& p, double sign) {
    Polynomial product = p;
    for (std::size_t i = 1; i < p.size(); ++i) {
        product[i] += sign * p[i - 1];
    }
    return product;
}

/// Sum over k of p[k] (2 rate (1 - z^-1))^k (1 + z^-1)^(5 - k).
Polynomial BilinearImage(const Polynomial& p, double sampleRate) {
    Polynomial result{};
    double scale = 1.0;
    for (std::size_t k = 0; k < p.size(); ++k) {
        Polynomial term{1.0};
        for (std::size_t factor = 0; factor + 1 < p.size(); ++factor) {
            term = TimesFirstOrder(term, factor < k ? -1.0 : 1.0);
        }
        for (std::size_t i = 0; i < result.size(); ++i) {
            result[i] += p[k] * scale * term[i];
        }
        scale *= 2.0 * sampleRate;
    }
    return result;
}

void Push(Polynomial& history, double value) {
    std::copy_backward(history.begin(), history.end() - 1, history.end());
    history[0] = value;
}

} // namespace

double WhiteNoiseModel::Next() {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    const float sample = 2.0F * (static_cast<float>(state) * 2.3283064e-10F) - 1.0F;
    return static_cast<double>(std::clamp(sample, -1.0F, 1.0F));
}

NoiseShapingModel::NoiseShapingModel(double sampleRate)
    : numerator(BilinearImage(analogueNumerator, sampleRate)),
      denominator(BilinearImage(analogueDenominator, sampleRate)) {
    highPass.Design(noiseHighPass, sampleRate);
}

double NoiseShapingModel::Step(double x) {
    Push(inputs, x);
    double sum = 0.0;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        sum += numerator[i] * inputs[i];
    }
    sum *= shapingGain;
    for (std::size_t i = 1; i < outputs.size(); ++i) {
        sum -= denominator[i] * outputs[i - 1];
    }
    Push(outputs, sum / denominator[0]);
    return highPass.Step(outputs[0]);
}

Complex NoiseShapingModel::Response(double frequencyHz, double sampleRate) {
    const Complex s(0.0, 2.0 * sampleRate * WarpedFrequency(frequencyHz, sampleRate));
    return shapingGain * Evaluate(analogueNumerator, s) / Evaluate(analogueDenominator, s) *
           noiseHighPass.Response(frequencyHz, sampleRate);
}

} // namespace orphia_reference
