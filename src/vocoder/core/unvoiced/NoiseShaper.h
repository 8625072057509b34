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
    /// A shaper with its block, which it changes in place.
    struct Channel {
        NoiseShaper& shaper;
        float* samples;
    };
    static void Run(u32 numFrames, Channel channel);
    /// Both channels of a stereo core at once: the same samples as one after the other.
    static void Run(u32 numFrames, Channel left, Channel right);

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

    static Section<double> JoinSections(const Section<double>& alone) { return alone; }
    static Section<dsp::Double2> JoinSections(const Section<double>& left, const Section<double>& right);
    static void SplitSection(const Section<double>& from, Section<double>& section) { section = from; }
    static void SplitSection(const Section<dsp::Double2>& pair, Section<double>& left,
                             Section<double>& right);

    template <class... Channels>
    static void RunTogether(u32 numFrames, const Channels&... channels);

    Section<double> response;
    dsp::BiquadSection highPass;
};

} // namespace Velmora::Processor
