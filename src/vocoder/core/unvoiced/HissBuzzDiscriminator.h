// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/filters/FirstOrderSection.h"
#include "dsp/framework/UnitModule.h"
#include "vocoder/core/kernels/VocoderKernels.h"

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

    /// Whether silence leaves it as it is, and so the decision.
    bool IsAtRest() const { return high.IsAtRest() && low.IsAtRest(); }

    /// Replaces the kernel, which is otherwise the widest that the processor runs.
    void UseKernels(const VocoderKernels& set) { kernels = &set; }

private:
    /// One side of the crossover: the band, then its envelope.
    struct Side {
        dsp::BiquadSection crossover;
        dsp::FirstOrderSection onePole;
        dsp::BiquadSection biquad;

        void Prepare(double rate);
        void Reset();
        bool Heal();
        bool IsAtRest() const { return crossover.IsAtRest() && onePole.IsAtRest() && biquad.IsAtRest(); }
    };

    static void Run(HissBuzzDiscriminator& left, const dsp::ProcessContext& leftContext,
                    HissBuzzDiscriminator& right, const dsp::ProcessContext& rightContext);
    static void Decide(float leftTrim, const dsp::ProcessContext& leftContext, float rightTrim,
                       const dsp::ProcessContext& rightContext, const float* rows, u32 offset, u32 frames);
    void LoadLanes(DiscriminatorLanes& lanes, u32 highLane, u32 lowLane) const;
    void KeepLanes(const DiscriminatorLanes& lanes, u32 highLane, u32 lowLane,
                   const dsp::ProcessContext& context);

    const VocoderKernels* kernels = &SelectVocoderKernels();
    /// Above and below the corner.
    Side high;
    Side low;
    float sampleRate = 1.0F;
    /// Offset of the comparator, in volts of the envelopes.
    float trim = 0.0F;
};

} // namespace Velmora::Processor
