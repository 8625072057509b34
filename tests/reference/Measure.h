// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Biquads.h"

#include <functional>
#include <vector>

namespace orphia_reference {

using Signal = std::vector<double>;
using StepFunction = std::function<double(double)>;

/// Complex gain at one frequency, from a recorded impulse response that has died away.
Complex Transform(const Signal& impulseResponse, double frequencyHz, double sampleRate);

/// Feeds a single pulse and divides the answer by its height.
Signal ImpulseResponse(const StepFunction& step, double amplitude, double seconds, double sampleRate);

/// Starts at phase 0; the length is rounded down to a multiple of 4.
Signal Sine(double frequencyHz, double amplitude, double seconds, double sampleRate);

/// Feeds a constant and returns the last answer.
double Settle(const StepFunction& step, double x, double seconds, double sampleRate);

/// Largest magnitude from sample `first` on.
double Peak(const Signal& signal, std::size_t first = 0);

} // namespace orphia_reference
