// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp::DynamicsTools {

/// A pole with one coefficient for the way up (attack) and another for the way down (release). It holds the
/// coefficients that channels share; each channel keeps a state of its own. Double precision: a float state
/// would stop 0.1 dB before its goal where the times are long.
class SmootherAR {
public:
    /// Time constants in milliseconds; what is not above 0 follows at once.
    void SetAttack(float milliseconds, float sampleRate) { attack = Coefficient(milliseconds, sampleRate); }
    void SetRelease(float milliseconds, float sampleRate) { release = Coefficient(milliseconds, sampleRate); }

    /// Replaces the values, all finite and 0 or above, by the state that follows them. A state that has come
    /// down to nothing, or is broken, ends as 0.
    void Follow(float* values, u32 count, double& state) const;

private:
    /// 1 - exp(-1 / samples).
    static double Coefficient(float milliseconds, float sampleRate);

    double attack = 1.0;
    double release = 1.0;
};

} // namespace Velmora::dsp::DynamicsTools
