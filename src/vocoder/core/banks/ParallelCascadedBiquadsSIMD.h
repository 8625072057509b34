// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "vocoder/core/banks/BandPlan.h"
#include "vocoder/core/kernels/BiquadLanes.h"
#include "vocoder/core/kernels/VocoderKernels.h"

namespace Velmora::Processor {

struct LaneTile;

/// Sixteen independent channels of two cascaded biquads, four or more channels per vector operation.
/// Programmed through its parameters: type, frequency in Hz, quality and linear gain of each stage.
/// Coefficients (Robert Bristow-Johnson's cookbook) change at once, without interpolation.
///
/// From 44100 Hz on, a frequency above half the rate makes a stage unstable and a quality of 0 makes it
/// undefined; nothing guards against either, but at the end of a block a channel whose state is not finite
/// starts again from silence.
template <unsigned channels, unsigned stages>
class ParallelCascadedBiquadsSIMD;

template <>
class ParallelCascadedBiquadsSIMD<16, 2> final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 128;
    enum Group : u32 { Type = 0, Frequency = 1, Quality = 2, Gain = 3 };
    enum FilterType { LowPass = 0, BandPass = 1 };

    explicit ParallelCascadedBiquadsSIMD(std::string moduleName);

    /// Id of a parameter; channel 1 to 16, stage 1 or 2.
    static constexpr u32 ParameterId(Group group, u32 channel, u32 stage) {
        return group * 32U + 2U * (channel - 1U) + (stage - 1U);
    }
    /// Sets a parameter of both stages to one real value.
    void SetBothStages(Group group, u32 channel, float value);
    /// Type, gain and the low-pass quality of the band plan.
    void SetBandTypes();
    /// Frequencies and the band-pass quality.
    void SetFrequencies(const BandPlan& plan);

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Parts of Process for owners that pass the bands on in tiles, at most LaneTile::maxFrames at a time; a
    /// block ends with FinishBlock. FilterTile runs one input through all channels, SumTile sums channels.
    void FilterTile(const float* input, u32 frames, LaneTile& tile);
    void SumTile(const float* const* inputs, u32 offset, u32 frames, float* output);
    void FinishBlock();

    /// Replaces the kernels, which are otherwise the widest that the processor runs.
    void UseKernels(const VocoderKernels& set) { kernels = &set; }

private:
    /// Numerator of a stage, before its gain.
    struct FeedForward {
        double b0 = 0.0;
        double b1 = 0.0;
        double b2 = 0.0;
    };

    void UpdateStage(u32 channel, u32 stage);
    void HealLanes();
    void ClearLane(u32 lane);

    const VocoderKernels* kernels = &SelectVocoderKernels();
    float sampleRate = 1.0F;
    FeedForward feedForward[stageCount][bandCount];
    BiquadLanes lanes;
};

} // namespace Velmora::Processor
