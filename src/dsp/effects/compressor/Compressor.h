// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/DelayRing.h"
#include "dsp/effects/compressor/DynamicsModuleInterface.h"
#include "dsp/effects/compressor/GainComputer.h"
#include "dsp/effects/compressor/LookaheadGain.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/BlockRamp.h"
#include "dsp/smoothing/SmootherAR.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A feed-forward compressor: the level in decibels gives a reduction, which an attack and a release follow.
/// With a lookahead the audio is delayed and a falling gain begins before the transient.
///
/// Inputs: 0 left, 1 right, those of modulationInputs, 6 and 7 the sidechain. Any may be null or absent: a
/// null left input gives silence and ends what was before, and without input 6 "SideChain" listens to the
/// audio. Outputs: 0 left, 1 right, which may be the input
/// buffers. Without "ConfStereo" or a right input, the gain comes from the left alone; a second output then
/// has the right input, or the left if there is none, at the same gain. A sample that is not a number or
/// absurdly loud counts as 0.
///
/// Values are held to the ranges declared, which may be declared anew; "Threshold", "Attack", "Release",
/// "Ratio" and "Wet" may run backwards. Gains, threshold and ratio glide from frame to frame, without a
/// corner where they set out.
class Compressor final : public DynamicsModuleInterface<UnitModule, DynamicsTools::SmootherAR> {
public:
    enum Parameter : u32 {
        /// On: the outputs are finished audio. Off: they are multiplied by the inputs once more.
        ConfOnlyComputeGain,
        /// 0..1; 0 is the delayed input without any gain.
        Wet,
        /// Decibels, of the input; taken back at the output.
        InGainCompensated,
        InputGain,
        OutputGain,
        /// Time constants in ms.
        Attack,
        Release,
        /// Decibels of a full-scale peak.
        Threshold,
        Ratio,
        RatioInfinite,
        /// Decibels; 0 is a hard knee.
        KneeWidth,
        /// On: gives back 0.7071 of the decibels by which full scale is reduced.
        Makeup,
        /// On: the louder channel sets the one gain of both.
        StereoMode,
        /// Read-back, 0..1: the deepest reduction at the end of the block, 40 dB or more being 1.
        OutGainReduction,
        /// On: the level follows the peaks with the time constants LevelMeasureAtMs and LevelMeasureReMs.
        LevelMeasureSmoothAR,
        LevelMeasureAtMs,
        LevelMeasureReMs,
        LookaheadEnable,
        /// Also the latency in ms while the lookahead is on.
        LookaheadTimeMs,
        /// On: two channels are taken.
        ConfStereo,
        SideChain,
        GRLimitEnable,
        /// The lowest gain in dB, 0 or below.
        GRLimit,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs = std::to_array<u32>({Wet, Release, Threshold, Ratio});
    /// The last two are the sidechain.
    static constexpr u32 inputCount = 2 + modulationInputs.size() + 2;
    static constexpr auto slotSignals = std::to_array<u32>({Wet, Release});

    explicit Compressor(std::string moduleName = "Compressor");

    void OnInitialize(float rateHz, u32 maxBlockSize) override;
    /// Smoothers jump to the parameters; levels, reductions and rings are emptied, also by a soft reset.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    /// In frames; of the lookahead that the last block ran with.
    u32 Latency() const { return lookahead; }

private:
    struct Channel {
        double level = 0.0;
        double reduction = 0.0;
        LookaheadGain gain;
        DelayRing audio;
    };

    /// The buffers whose larger magnitude is the level, maybe twice the same.
    struct Detector {
        const float* first;
        const float* second;
    };

    enum Input : u32 { Left, Right, WetInput, ReleaseInput, ThresholdInput, RatioInput, KeyLeft, KeyRight };

    void ComputeGain(ProcessContext& context) override;
    void FinishBlock(ProcessContext& context) override;

    void UpdateLookahead();
    void UpdateSettings();
    float ThroughGainTarget() const;
    float InverseRatioTarget(const ProcessContext& context);
    /// Within its range, moved by a modulation input, and turned round where it runs backwards.
    float Acting(u32 id, const ProcessContext& context, u32 inputIndex);
    bool IsOn(u32 id) { return Value(id) > 0.5F; }

    /// Decides how many gains this block computes; a channel that joins in takes over the gain that it had.
    void SetComputedChannels(u32 count);
    void RenderControls(const ProcessContext& context);
    Detector DetectorOf(const ProcessContext& context, u32 channel) const;
    void RenderGains(const ProcessContext& context);
    void ApplyGains(const float* in, const float* gains, float* out, u32 frames, Channel& channel) const;
    void ClearChannels();
    void ClearRings();

    float sampleRate = 1.0F;
    u32 longestLookahead = 0;
    u32 lookahead = 0;
    bool isStereo = false;
    bool isLinked = false;
    bool ratioIsInfinite = false;
    bool hasMakeup = false;
    bool smoothsLevel = false;
    bool usesSideChain = false;
    float inputGainTarget = 1.0F;
    /// Without makeup.
    float bothGainsTarget = 1.0F;
    GainComputer curve{0.0F};
    float deepestReduction = 0.0F;

    /// Of this block.
    bool takesStereo = false;
    u32 computedChannels = 2;

    DynamicsTools::SmootherAR levelEnvelope;
    SmootherInterpLPF inputGain;
    /// Of all gains together. What is taken back at the output never enters, so that it cannot be out of step
    /// with what was added at the input.
    SmootherInterpLPF throughGain;
    SmootherInterpLPF inverseRatio;
    SmootherInterpLPF threshold;
    BlockRamp wet;
    std::array<Channel, 2> channels;
    enum Buffer : u32 {
        LeftGains,
        RightGains,
        WetRamp,
        InputGains,
        ThroughGains,
        Thresholds,
        InverseRatios,
        BufferCount
    };
    BlockPool buffers;
};

} // namespace Velmora::dsp
