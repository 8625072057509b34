// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/LateParameters.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "vocoder/core/banks/ParallelCascadedBiquads.h"

#include <limits>

namespace Velmora::Processor {

/// Frequencies of the sixteen bands: band 1 is a low-pass, bands 2 to 16 are band-passes a third of an
/// octave wide, each of two stages staggered around the band's geometric centre.
struct BandPlan {
    /// Lower edge of band 2 in Hz, in the neutral setting.
    static constexpr float lowestEdge = 159.0F;
    static constexpr float lowPassQ = 0.7416F;
    static constexpr float lowPassGain = 1.0F;
    /// Of each stage; the two factors multiply to +3.18872.
    static constexpr float bandPassGain = -1.7857F;

    /// Corner of both stages of band 1, Hz.
    float lowPassHz;
    /// Stage frequencies in Hz; index 0 is band 2.
    float stage1Hz[bandCount - 1];
    float stage2Hz[bandCount - 1];
    float bandPassQ;

    /// lowerEdge in Hz moves the whole plan; width, -1 to 1, spreads the two stages of each band by up to 7
    /// %.
    BandPlan(float lowerEdge, float width);
};

/// Splits the analysed program into sixteen fixed bands. 1 input, 16 outputs.
class AnalyzerFilterBank final : public dsp::ModuleContainer<ParallelCascadedBiquads> {
public:
    static constexpr u32 parameterCount = childParameterCount;

    explicit AnalyzerFilterBank(std::string moduleName = "AnalyzerFilterBank");

    void OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) override {}
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Parts of a run for an owner that takes the bands in tiles: after UpdateParameters a stretch of the
    /// block after the other, then FinishBlock.
    void FilterTile(const float* program, u32 frames, LaneTile& tile) {
        Child<0>().FilterTile(program, frames, tile);
    }
    void FinishBlock();
    bool IsSilent() { return Child<0>().IsSilent(); }

    void UseKernels(const VocoderKernels& set) { Child<0>().UseKernels(set); }
};

/// Filters the sixteen amplified bands and sums them. "Shift" moves the whole bank, "Width" spreads the two
/// stages of each band; at 0 both, the bank equals the analyser's.
///
/// Inputs 0 to 15 the bands, then the modulations. 1 output.
class SynthesizerFilterBank final
    : public dsp::LateParameters<dsp::ModuleContainer<ParallelCascadedBiquads>> {
public:
    /// Behind those of the filters.
    enum Parameter : u32 { Shift, Width, ParameterCount };
    static constexpr u32 parameterCount = childParameterCount + ParameterCount;
    static constexpr u32 ParameterId(Parameter parameter) { return childParameterCount + parameter; }
    enum Input : u32 { ShiftModulation = bandCount, WidthModulation, InputCount };

    explicit SynthesizerFilterBank(std::string moduleName = "SynthesizerFilterBank");

    /// The bank of the other channel, which has run before this one: mostly the plan is the same.
    void ShareTuning(const SynthesizerFilterBank& bank) { twin = &bank; }

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Parts of a run for an owner that has the controls of the amplifiers in tiles: after UpdateParameters
    /// a stretch of the block after the other, then FinishBlock.
    void SynthesizeTile(const AmplifierDrive& drive, LaneTile& controls, u32 frames, float* output) {
        Child<0>().SynthesizeTile(drive, controls, frames, output);
    }
    void FinishBlock();
    bool IsSilent() { return Child<0>().IsSilent(); }

    void UseKernels(const VocoderKernels& set) { Child<0>().UseKernels(set); }

private:
    static constexpr float untuned = std::numeric_limits<float>::quiet_NaN();

    void Tune(float shift, float width);
    void Move(float shift, float width);
    void CatchUp() override;
    bool IsTunedTo(float shift, float width) const { return shift == tunedShift && width == tunedWidth; }

    dsp::SmootherLPF shiftSmoother{0.015};
    float rate = 1.0F;
    const SynthesizerFilterBank* twin = nullptr;
    /// Where the plan in motion stands, and its coefficients, which may be those of the twin.
    float tunedShift = untuned;
    float tunedWidth = untuned;
    float tunedLowPassQ[stageCount] = {};
    BandPlan plan{BandPlan::lowestEdge, 0.0F};
    BandTuning ownTuning;
    const BandTuning* tuning = nullptr;
    /// The filters' parameters are those of an earlier plan.
    bool parametersBehind = false;
};

} // namespace Velmora::Processor
