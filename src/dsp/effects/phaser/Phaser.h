// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/phaser/PhaserControls.h"
#include "dsp/effects/phaser/PhaserLoop.h"
#include "dsp/effects/shared/SweptEffect.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A stereo phaser: up to eight pairs of all-pass stages in a loop without delay, swept by an oscillator and
/// by the loudness of the sound. With dry and wet in equal parts each pair makes one notch, whatever the
/// feedback; without spread the notches lie about "Freq" as their geometric centre.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers. A sample that is not a number or absurdly loud counts as 0, a null
/// input as silence.
///
/// Every control is smoothed. At a "DryWet" of 0 the output is the input to the bit.
class Phaser final : public SweptEffect<PhaserSettings, PhaserControls> {
public:
    enum Parameter : u32 {
        /// 0..1, of equal power; the notches are deepest in the middle.
        DryWet,
        /// Corner of the stages in Hz, 40..12000.
        Freq,
        /// -0.95..0.95: resonance between the notches; below 0 narrow notches.
        Feedback,
        /// 2, 4, ... 16.
        Stages,
        /// Octaves from the lowest to the highest corner, 0..6.
        Spread,
        /// Octaves that the oscillator moves the corners either way, 0..4.
        Depth,
        /// Cycles of the sweep per second, 0.02..20.
        LFOFreq,
        /// A SweepLfoSettings::Shape.
        LFOShape,
        /// When on, "SyncRate" and the tempo replace "LFOFreq" and its modulation, and a song that plays
        /// tells the phase.
        TempoSync,
        /// Length of a cycle: 32, 16, 12, 8, 6, 4, 3, 2, 3/2, 1, 2/3, 1/2 beats.
        SyncRate,
        /// Degrees at which a cycle starts, 0..330.
        LFOPhase,
        /// Degrees by which the right channel is ahead, 0..180.
        StereoPhase,
        /// Octaves between the corners of the channels, -2..2; above 0 the right ones are higher.
        StereoOffset,
        /// Time constant in ms that rounds off the oscillator, 0..500.
        LFOGlide,
        /// Octaves that full scale moves the corners, -4..4.
        EnvAmount,
        /// Times in ms, 1..500 and 5..2000.
        EnvAttack,
        EnvRelease,
        /// Saturation in front of the loop in dB, 0..24.
        Drive,
        /// Corners in Hz of the wet sound, first order, in the feedback as well: 5..2000 and 500..20000, off
        /// at the top.
        LowCut,
        HighCut,
        /// 0..1: the share of the feedback that changes sides.
        CrossFeedback,
        /// When on, the wet sound is turned over: what was a notch is a peak.
        Invert,
        /// Level of the wet sound in dB, -24..12.
        WetGain,
        /// Steps of the shape Pattern, 1..8.
        PatternLength,
        /// Their heights, -1..1.
        Step1,
        Step2,
        Step3,
        Step4,
        Step5,
        Step6,
        Step7,
        Step8,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs = std::to_array<u32>({Freq, Feedback, LFOFreq, DryWet});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({Freq, Feedback});

    explicit Phaser(std::string moduleName = "Phaser");

    bool Process(ProcessContext& context) override;

private:
    using Float4 = simd::Float4;

    PhaserSettings ReadSettings(const ProcessContext& context) override;
    void ClearStages() override { loop.Clear(); }

    void MoveStages();
    void SetStageCount();
    void MoveGroup(u32 firstPair, PhaserControls::Group offsets, PhaserControls::Group presence,
                   Float4 centres);
    PhaserLoop::Controls LoopControls() const;

    PhaserLoop loop;
};

} // namespace Velmora::dsp
