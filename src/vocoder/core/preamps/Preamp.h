// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "vocoder/core/gain/SmoothedGain.h"
#include "vocoder/core/preamps/OverloadDetector.h"

#include <string>

namespace Velmora::Processor {

/// Brings the program (modulator) to the level of the analysis circuit, through a second-order high-pass
/// at 4.8 Hz. There is no clipping in this stage.
///
/// Inputs: 0 audio, 1 modulation of "ProgramLevel". Output: 0 the amplified program.
/// The program enters the core here, so faulty samples stop here: one that is not a number, infinite or
/// absurdly large counts as 0, as it would otherwise stay in every filter behind. A null input is silence.
class Preamp final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 1;
    enum Parameter : u32 { ProgramLevel };

    explicit Preamp(std::string moduleName = "Preamp");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(Preamp& left, dsp::ProcessContext& leftContext, Preamp& right,
                            dsp::ProcessContext& rightContext);

    /// Read by the owner after Process.
    OverloadDetector overload;

private:
    void Finish(float* block, u32 numFrames);

    dsp::BiquadSection highPass;
    DecibelGain levelGain;
    dsp::SmootherLPF gainSmoother{0.1};
};

} // namespace Velmora::Processor
