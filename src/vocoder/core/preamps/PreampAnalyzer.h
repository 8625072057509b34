// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/framework/UnitModule.h"

#include <string>

namespace Velmora::Processor {

/// The second-order high-pass at 259 Hz between the program preamp and the analysis side. The dry path is
/// taken before it. 1 input, 1 output, no parameters.
class PreampAnalyzer final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 0;

    explicit PreampAnalyzer(std::string moduleName = "PreampAnalyzer");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(PreampAnalyzer& left, dsp::ProcessContext& leftContext, PreampAnalyzer& right,
                            dsp::ProcessContext& rightContext);

private:
    void Finish(float* output, u32 numFrames);

    dsp::BiquadSection highPass;
};

} // namespace Velmora::Processor
