// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "support/platform/Types.h"

namespace Velmora::Processor {

/// Colours the white noise of the unvoiced path: the bilinear transform, without prewarping, of a
/// fifth-order analogue response, and a 2300 Hz high-pass.
///
/// Double precision throughout: single-precision coefficients would be off by decibels at the low end
/// of the response at 384 kHz.
class NoiseShaper {
public:
    void Prepare(double sampleRate);
    void Reset();
    /// In place.
    void Process(float* samples, u32 numFrames);
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(NoiseShaper& left, float* leftSamples, NoiseShaper& right, float* rightSamples,
                            u32 numFrames);

private:
    static constexpr u32 order = 5;

    /// The fifth-order response in direct form 1, over numbers as in BasicBiquadSection.
    template <class T>
    struct Section {
        /// Of z^-1, normalised by the leading denominator coefficient; the gain stands on the numerator.
        T numerator[order + 1] = {};
        T denominator[order + 1] = {};
        T pastInputs[order] = {};
        T pastOutputs[order] = {};

        T Tick(T x);
    };

    template <class T, class Input, class Output>
    static void Run(Input input, Output output, u32 numFrames, Section<T>& response,
                    dsp::BasicBiquadSection<T>& highPass);

    Section<double> response;
    dsp::BiquadSection highPass;
};

} // namespace Velmora::Processor
