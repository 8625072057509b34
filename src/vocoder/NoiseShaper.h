// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/Types.h"
#include "dsp/BiquadSection.h"

namespace Velmora::Processor {

/// Colours the white noise of the unvoiced path as the instrument's noise source does: the bilinear
/// transform, without prewarping, of a fifth-order analogue response, and a 2300 Hz high-pass.
///
/// Double precision throughout: at 192 kHz single-precision coefficients would be off by half a decibel at
/// the low end, at 384 kHz by ten.
class NoiseShaper {
public:
    void Prepare(double sampleRate);
    void Reset();
    /// In place.
    void Process(float* samples, u32 numFrames);

private:
    static constexpr u32 order = 5;

    /// Of z^-1, normalised by the leading denominator coefficient; the gain stands on the numerator.
    double numerator[order + 1] = {};
    double denominator[order + 1] = {};
    double pastInputs[order] = {};
    double pastOutputs[order] = {};
    dsp::BiquadSection highPass;
};

} // namespace Velmora::Processor
