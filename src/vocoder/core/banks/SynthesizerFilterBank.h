// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "vocoder/core/banks/ParallelCascadedBiquadsSIMD.h"

namespace Velmora::Processor {

/// Filters the sixteen amplified bands and sums them. "Shift" moves the whole bank, "Width" spreads the two
/// stages of each band; at 0 both, the bank equals the analyser's.
///
/// Inputs 0 to 15 the bands, 16 the modulation of "Shift", 17 that of "Width". 1 output.
class SynthesizerFilterBank final : public dsp::ModuleContainer<ParallelCascadedBiquadsSIMD<16, 2>> {
public:
    static constexpr u32 shiftId = childParameterCount;
    static constexpr u32 widthId = childParameterCount + 1;
    static constexpr u32 parameterCount = childParameterCount + 2;
    static constexpr u32 shiftInput = bandCount;
    static constexpr u32 widthInput = bandCount + 1;

    explicit SynthesizerFilterBank(std::string moduleName = "SynthesizerFilterBank");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    void UseKernels(const VocoderKernels& set) { Child<0>().UseKernels(set); }

private:
    enum Additional : u32 { Shift = 0, Width = 1 };

    dsp::SmootherLPF shiftSmoother{0.015};
};

} // namespace Velmora::Processor
