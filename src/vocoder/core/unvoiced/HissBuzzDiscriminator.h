// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/core/unvoiced/RectifierFollowerHissBuzz.h"

#include <string>

namespace Velmora::Processor {

/// The voiced or unvoiced decision: a comparator, without hysteresis, on the envelopes of the program above
/// and below a corner near 1.85 kHz.
///
/// Input: 0 the analysed program. Outputs: 0 hiss control, +15 V for voiced (buzz) and -15 V for unvoiced
/// (hiss); 1 buzz control, its exact negation. A tie is voiced.
class HissBuzzDiscriminator final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 5;
    enum Parameter : u32 { FcLP, QLP, FcHP, QHP, HissBuzzTrimmer };

    explicit HissBuzzDiscriminator(std::string moduleName = "HissBuzzDiscriminator");

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(HissBuzzDiscriminator& left, dsp::ProcessContext& leftContext,
                            HissBuzzDiscriminator& right, dsp::ProcessContext& rightContext);

private:
    void SplitBands(const float* input, u32 numFrames);
    void HealSections();
    void Decide(const dsp::ProcessContext& context) const;

    dsp::BiquadSection highPass;
    dsp::BiquadSection lowPass;
    RectifierFollowerHissBuzz highFollower;
    RectifierFollowerHissBuzz lowFollower;
    float sampleRate = 1.0F;
    /// Offset of the comparator, in volts of the envelopes.
    float trim = 0.0F;

    dsp::BlockPool buffers;
    float* highBand = nullptr;
    float* lowBand = nullptr;
    float* highEnvelope = nullptr;
    float* lowEnvelope = nullptr;
};

} // namespace Velmora::Processor
