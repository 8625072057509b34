// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Within.h"

#include <cmath>

namespace Velmora::dsp {

/// A level in dB as a linear gain.
inline float DecibelsToGain(float decibels) { return std::pow(10.0F, decibels * 0.05F); }

/// The same for a level that anybody may have written: a smoother would not find its way back from an
/// infinite gain.
inline float BoundedDecibelsToGain(float decibels) {
    return DecibelsToGain(Within(decibels, -200.0F, 100.0F));
}

} // namespace Velmora::dsp
