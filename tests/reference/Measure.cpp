// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/Measure.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orphia_reference {

Complex Transform(const Signal& impulseResponse, double frequencyHz, double sampleRate) {
    const Complex turn = std::polar(1.0, -2.0 * std::numbers::pi * frequencyHz / sampleRate);
    Complex sum = 0.0;
    for (std::size_t n = impulseResponse.size(); n-- > 0;) {
        sum = sum * turn + impulseResponse[n];
    }
    return sum;
}

Signal ImpulseResponse(const StepFunction& step, double amplitude, double seconds, double sampleRate) {
    Signal h(static_cast<std::size_t>(seconds * sampleRate));
    for (std::size_t n = 0; n < h.size(); ++n) {
        h[n] = step(n == 0 ? amplitude : 0.0) / amplitude;
    }
    return h;
}

Signal Sine(double frequencyHz, double amplitude, double seconds, double sampleRate) {
    Signal s(static_cast<std::size_t>(seconds * sampleRate) / 4 * 4);
    for (std::size_t n = 0; n < s.size(); ++n) {
        s[n] =
            amplitude * std::sin(2.0 * std::numbers::pi * frequencyHz * static_cast<double>(n) / sampleRate);
    }
    return s;
}

double Settle(const StepFunction& step, double x, double seconds, double sampleRate) {
    double y = 0.0;
    for (int n = 0; n < static_cast<int>(seconds * sampleRate); ++n) {
        y = step(x);
    }
    return y;
}

double Peak(const Signal& signal, std::size_t first) {
    double peak = 0.0;
    for (std::size_t n = first; n < signal.size(); ++n) {
        peak = std::max(peak, std::abs(signal[n]));
    }
    return peak;
}

} // namespace orphia_reference
