// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>

namespace Velmora::dsp {

/// A level in dB as a linear gain.
inline float DecibelsToGain(float decibels) { return std::pow(10.0F, decibels * 0.05F); }

} // namespace Velmora::dsp
