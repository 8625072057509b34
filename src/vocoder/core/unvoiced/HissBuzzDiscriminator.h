// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/filters/FirstOrderSection.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <string>

namespace Velmora::Processor {

/// The voiced or unvoiced decision: a comparator, without hysteresis, on the envelopes of the program above
/// and below a corner near 1.85 kHz. Each envelope is a full-wave rectifier with a smoothing filter of third
/// order.
///
/// Input: the analysed program. A tie is voiced.
class HissBuzzDiscriminator final : public dsp::UnitModule {
public:
    enum Parameter : u32 { FcLP, QLP, FcHP, QHP, HissBuzzTrimmer, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;
    /// Hiss control: +15 V for voiced (buzz) and -15 V for unvoiced (hiss). Buzz control: its exact negation.
    enum Output : u32 { HissControl, BuzzControl, OutputCount };

    explicit HissBuzzDiscriminator(std::string moduleName = "HissBuzzDiscriminator");

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(HissBuzzDiscriminator& left, dsp::ProcessContext& leftContext,
                            HissBuzzDiscriminator& right, dsp::ProcessContext& rightContext);

private:
    /// One side of the crossover: the band, then its envelope, which takes the band's place.
    struct Side {
        dsp::BiquadSection crossover;
        dsp::FirstOrderSection onePole;
        dsp::BiquadSection biquad;
        float* block = nullptr;

        void Prepare(double rate);
        void Reset();
        void Rectify(u32 numFrames) const;
        void Heal(u32 numFrames);
    };
    struct Envelopes;

    template <class... Channels>
    static void Run(const Channels&... channels);
    template <class... Channels>
    static void SplitBands(const Channels&... channels);
    void Decide(const dsp::ProcessContext& context) const;

    /// Above and below the corner.
    Side high;
    Side low;
    float sampleRate = 1.0F;
    /// Offset of the comparator, in volts of the envelopes.
    float trim = 0.0F;
    dsp::BlockPool buffers;
};

} // namespace Velmora::Processor
