// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/filters/FirstOrderSection.h"
#include "dsp/framework/UnitModule.h"

#include <string>

namespace Velmora::Processor {

/// A full-wave rectifier with its smoothing filter, of third order: the envelope of one side of the
/// hiss/buzz decision. 1 input, 1 output (the envelope in volts, at audio rate), no parameters. Input and
/// output may be the same buffer.
class RectifierFollowerHissBuzz final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 0;

    explicit RectifierFollowerHissBuzz(std::string moduleName = "RectifierFollowerHissBuzz");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(RectifierFollowerHissBuzz& left, dsp::ProcessContext& leftContext,
                            RectifierFollowerHissBuzz& right, dsp::ProcessContext& rightContext);

    /// Runs two followers as children side by side, as their parent: the same samples as one after the other
    /// in less time.
    static void RunPair(RectifierFollowerHissBuzz& first, const float* firstInput, float* firstOutput,
                        RectifierFollowerHissBuzz& second, const float* secondInput, float* secondOutput,
                        u32 numFrames);

    /// A follower with its blocks.
    struct Port {
        RectifierFollowerHissBuzz& follower;
        const float* input;
        float* output;
    };
    /// RunPair for two pairs.
    static void RunPairs(const Port (&first)[2], const Port (&second)[2], u32 numFrames);

private:
    void FinishBlock(float* output, u32 numFrames);

    dsp::FirstOrderSection onePole;
    dsp::BiquadSection biquad;
};

} // namespace Velmora::Processor
