// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "vocoder/core/banks/BandTuning.h"
#include "vocoder/core/kernels/VocoderKernels.h"

namespace Velmora::Processor {

/// Sixteen independent channels of two cascaded biquads, four or more channels per vector operation.
/// Programmed through its parameters: type, frequency in Hz, quality and linear gain of each stage.
/// Coefficients (Robert Bristow-Johnson's cookbook) change at once, without interpolation.
///
/// Frequencies end at 0.49 of the rate. A quality of 0 has no coefficients; the last ones stay. At the end of
/// a block a channel whose state is not finite starts again from silence, and one that has died away is at
/// rest.
class ParallelCascadedBiquads final : public dsp::UnitModule {
public:
    /// A parameter of each stage of each channel.
    enum Parameter : u32 { Type, Frequency, Quality, Gain, ParametersPerStage };
    static constexpr u32 parameterCount = ParametersPerStage * bandCount * stageCount;
    enum FilterType { LowPass = 0, BandPass = 1 };

    explicit ParallelCascadedBiquads(std::string moduleName);

    /// Id of a parameter; channel 1 to 16, stage 1 or 2.
    static constexpr u32 ParameterId(Parameter parameter, u32 channel, u32 stage) {
        return (parameter * bandCount + channel - 1U) * stageCount + stage - 1U;
    }
    /// Sets a parameter of both stages to one real value.
    void SetBothStages(Parameter parameter, u32 channel, float value);

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    /// One input through all channels, into sixteen outputs.
    bool Process(dsp::ProcessContext& context) override;

    /// True while the types are those of a band plan and no parameter waits to be read.
    bool CanFollow() const { return typesFitPlan && !anyParameterChanged; }
    float QualityOf(u32 channel, u32 stage) { return HeldValue(ParameterId(Quality, channel, stage)); }
    /// Takes frequencies and qualities from a plan, past the parameters, which the owner sets later.
    void Follow(const BandTuning& tuning);

    /// For owners that pass the bands on in tiles, at most LaneTile::maxFrames at a time; a block ends with
    /// FinishBlock. FilterTile runs one input through all channels, SumTile sums channels.
    void FilterTile(const float* input, u32 frames, LaneTile& tile);
    void SumTile(const float* const* inputs, u32 offset, u32 frames, float* output);
    /// Amplifies the bands, runs them through their channels and sums them.
    void SynthesizeTile(const AmplifierDrive& drive, LaneTile& controls, u32 frames, float* output) {
        kernels->synthesize(lanes, drive, controls, frames, output);
    }
    void FinishBlock();
    /// Whether all states are 0: silence in is then silence out, whatever the coefficients.
    bool IsSilent() const;

    /// Replaces the kernels, which are otherwise the widest that the processor runs.
    void UseKernels(const VocoderKernels& set) { kernels = &set; }

private:
    /// Numerator of a stage, before its gain.
    struct FeedForward {
        double b0 = 0.0;
        double b1 = 0.0;
        double b2 = 0.0;
    };

    bool TypesFitPlan();
    void SetPull(u32 stage, u32 lane, float pull);
    void UpdateStage(u32 channel, u32 stage);
    void TuneStage(u32 channel, u32 stage, bool isLowPass);
    void HealLanes();
    void EndDecays();
    void ClearInput(u32 lane);
    void ClearStages(u32 lane);

    const VocoderKernels* kernels = &SelectVocoderKernels();
    float sampleRate = 1.0F;
    FeedForward feedForward[stageCount][bandCount];
    double gains[stageCount][bandCount] = {};
    bool typesFitPlan = false;
    BiquadLanes lanes;
};

} // namespace Velmora::Processor
