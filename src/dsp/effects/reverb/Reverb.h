// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/reverb/ReverbControls.h"
#include "dsp/effects/reverb/ReverbTank.h"
#include "dsp/effects/shared/EffectUnit.h"
#include "dsp/effects/shared/EntryFade.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A plate reverb: the figure-of-eight tank of J. Dattorro, "Effect Design, Part 1: Reverberator and Other
/// Filters", J. Audio Eng. Soc. 45 (1997). The sum of both inputs excites it; the outputs listen to it at
/// different places. Its lines scale with the sample rate and with "Size". Where the paper has one factor of
/// decay, here every line loses level by its own length, so that the decay takes the time that is set.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers. A sample that is not a number or absurdly loud counts as 0, a null
/// input as silence.
///
/// Every control is smoothed; delays glide. At a "DryWet" of 0 the output is the input to the bit.
class Reverb final : public EffectUnit<ReverbSettings, ReverbControls> {
public:
    enum Parameter : u32 {
        /// 0..1, of equal power.
        DryWet,
        /// In ms.
        PreDelay,
        /// When on, "SyncRate" and the tempo replace "PreDelay" and its modulation.
        TempoSync,
        /// Length of the pre-delay, a step of SyncRates::echoBeats; halved until it is not above 0.5 s.
        SyncRate,
        /// Seconds until the tail is 60 dB down, where no filter makes it shorter.
        Decay,
        /// Factor of the lengths of the tank; below 1 that of what is heard first, while the tank, which
        /// would ring, shrinks less.
        Size,
        /// Corner in Hz of the low-pass in the loop, first order; off at the top.
        Damping,
        /// Corners in Hz before the tank, first order; "HighCut" is off at the top.
        LowCut,
        HighCut,
        /// Factors of the all-passes, 0..0.9: the two pairs at the input, the swung ones in the tank, the
        /// others in the tank. At 0 they are plain delays.
        InputDiffusion1,
        InputDiffusion2,
        DecayDiffusion1,
        DecayDiffusion2,
        /// Of the swung all-passes: cycles per second, and the way from the centre in ms.
        ModRate,
        ModDepth,
        /// 0..1: 0 puts the wet sound in the middle.
        Width,
        /// 0 or 1: keeps the tail at its level for ever, closed to the input, and stops the swing.
        Freeze,
        /// Level of the wet sound in dB.
        WetGain,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs =
        std::to_array<u32>({DryWet, PreDelay, Size, Decay, Damping, HighCut, ModDepth, Width});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({DryWet, Decay});

    explicit Reverb(std::string moduleName = "Dattorro");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// Clears lines and filters; the swing starts anew.
    void OnReset(bool hard) override;
    bool Process(ProcessContext& context) override;
    /// After a reset while sound plays: what enters the lines fades in.
    void FadeIn() { entry.Start(); }

private:
    ReverbSettings ReadSettings(const ProcessContext& context) override;
    void StartMotion() override { tank.RestartSwing(controls); }
    bool IsAtRest() const;
    float PreDelaySeconds(const ProcessContext& context);
    template <ReverbTank::Pace pace>
    void RenderBlock(ProcessContext& context);

    ReverbTank tank;
    EntryFade entry;
};

} // namespace Velmora::dsp
