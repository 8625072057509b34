// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/SplineDelayLine.h"
#include "dsp/effects/flanger/FlangerControls.h"
#include "dsp/effects/flanger/FlangerLfo.h"
#include "dsp/effects/shared/EffectUnit.h"
#include "dsp/effects/shared/EntryFade.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/effects/shared/SweptDelays.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A stereo flanger: a short delay that swings, with feedback, against the dry sound. With "ThroughZero" on,
/// the dry sound comes late as well, by "Delay", so that the swing of the wet one passes through it: as two
/// tape machines overtake one another.
///
/// The dry path has no latency with "ThroughZero" off. With it on, its latency is "Delay", or, where that
/// leaves the swing no room, "Depth" less "Manual" and 13 samples.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers. A sample that is not a number or absurdly loud counts as 0, a null
/// input as silence.
///
/// No delay is shorter than 13 samples. At a "DryWet" of 0 and without "ThroughZero" the output is the input
/// to the bit.
class Flanger final : public EffectUnit<FlangerSettings, FlangerControls> {
public:
    enum Parameter : u32 {
        /// 0: as "DryWet" says; 1: the wet sound alone.
        DryWetMode,
        /// 0..1, of equal power.
        DryWet,
        /// In ms: the middle of the swing, as far as "Manual" leaves it there. At a "Manual" of 0 the swing
        /// with "ThroughZero" crosses the dry sound in its middle.
        Delay,
        /// Largest way from the middle in ms.
        Depth,
        /// Cycles of the swing per second.
        Freq,
        /// Factor of the wet sound back into the line, of either sign.
        Feedback,
        /// A FlangerSettings::Shape.
        LFOShape,
        /// 0..180 degrees by which the right side is ahead.
        StereoPhase,
        /// When on, "SyncRate" and the tempo replace "Freq"; while the song plays, the swing keeps step
        /// with it.
        TempoSync,
        /// A step of SyncRates::cycleBeats.
        SyncRate,
        ThroughZero,
        /// Corners in Hz of the wet sound, first order, in the feedback as well; "LowCut" is out at its
        /// bottom but for the DC of the loop, "HighCut" at its top.
        LowCut,
        HighCut,
        /// 0..1: 0 puts the wet sound in the middle.
        Width,
        /// When on, the wet sound is turned upside down.
        Invert,
        /// -5..5 ms on top of "Delay": the hand on the reel.
        Manual,
        /// 0..1: how low the line saturates.
        Drive,
        /// Level of the wet sound in dB.
        WetGain,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs = std::to_array<u32>({DryWet, Manual, Depth});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({DryWet, Manual});

    explicit Flanger(std::string moduleName = "Flanger");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// Clears lines and filters; the cycle starts anew.
    void OnReset(bool hard) override;
    bool Process(ProcessContext& context) override;
    /// After a reset while sound plays: what enters the lines fades in.
    void FadeIn() { entry.Start(); }

private:
    using Float4 = simd::Float4;

    /// The dry sound has a line of the same kind, so that at the crossing both are the same.
    struct Channel {
        SplineDelayLine wet;
        SplineDelayLine dry;
    };

    FlangerSettings ReadSettings(const ProcessContext& context) override;
    void FollowSong(const ProcessContext& context) override;
    void StartMotion() override;
    bool IsAtRest() const;
    void StepDelays();
    void Swing(u32 quads);
    template <bool moving>
    void RenderQuad(StereoQuad& sound);
    template <bool moving>
    Float4 DrySound(u32 side, Float4 input) const;

    std::array<Channel, 2> channels;
    LoopCuts cuts;
    EntryFade entry;
    FlangerLfo lfo;
    /// Lane 0 left, 1 right, 2 the dry sound.
    SweptDelays delays;
};

} // namespace Velmora::dsp
