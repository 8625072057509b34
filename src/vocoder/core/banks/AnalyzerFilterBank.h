// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "vocoder/core/banks/ParallelCascadedBiquadsSIMD.h"

namespace Velmora::Processor {

/// Splits the analysed program into sixteen fixed bands. 1 input, 16 outputs.
class AnalyzerFilterBank final : public dsp::ModuleContainer<ParallelCascadedBiquadsSIMD<16, 2>> {
public:
    static constexpr u32 parameterCount = childParameterCount;

    explicit AnalyzerFilterBank(std::string moduleName = "AnalyzerFilterBank");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Parts of a run for an owner that takes the bands in tiles: what comes before a block, a stretch of it,
    /// and what comes after.
    void BeginBlock(dsp::ProcessContext& context) { Child<0>().UpdateParameters(context); }
    void FilterTile(const float* program, u32 frames, LaneTile& tile) {
        Child<0>().FilterTile(program, frames, tile);
    }
    void FinishBlock();

    void UseKernels(const VocoderKernels& set) { Child<0>().UseKernels(set); }
};

} // namespace Velmora::Processor
