// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/chorus/ChorusControls.h"
#include "dsp/effects/shared/EffectUnit.h"
#include "dsp/effects/shared/EntryFade.h"
#include "dsp/effects/shared/SongPull.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/effects/shared/SweptDelays.h"
#include "dsp/lfo/ChorusLfo.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A stereo chorus and ensemble: each channel has a delay line with up to four voices, taps whose delays
/// swing about a common centre, each at its own point of the cycle. Their mean feeds back; their sum keeps
/// its level whatever the number of voices, as far as they are apart enough not to add up in phase.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers. A sample that is not a number or absurdly loud counts as 0, a null
/// input as silence.
///
/// Ranges may be declared anew within the bounds of ChorusSettings. The delay and its swing stay within 13
/// samples to 60 ms: the centre gives way to the swing. Every control is smoothed; settings of steps glide,
/// too. At a "DryWet" of 0 the output is the input to the bit.
class Chorus final : public EffectUnit<ChorusSettings, ChorusControls> {
public:
    enum Parameter : u32 {
        /// 0..1, of equal power.
        DryWet,
        /// Centre of the swing in ms.
        Delay,
        /// Largest way from the centre in ms.
        Depth,
        /// Cycles of the swing per second.
        Freq,
        /// Factor of the mean of the voices back into the line.
        Feedback,
        /// 0..1: 0 puts the wet sound in the middle.
        Width,
        /// A ChorusSettings::StereoMode.
        StereoMode,
        /// 1..4.
        Voices,
        /// A ChorusLfo::Shape.
        LFOShape,
        /// When on, "SyncRate" and the tempo replace "Freq" and its modulation; while the song plays, the
        /// cycle drifts to where it would be had it started with the song.
        TempoSync,
        /// Length of a cycle: 32, 16, 12, 8, 6, 4, 3, 2, 3/2, 1, 2/3, 1/2 beats.
        SyncRate,
        /// Corners in Hz of the wet sound, first order, in the feedback as well; "HighCut" is off at the top.
        LowCut,
        HighCut,
        /// 0..1: how far the centres of the voices are apart.
        Spread,
        /// 0..1: a slow random way of each voice, up to 1.5 ms.
        Drift,
        /// Level of the wet sound in dB.
        WetGain,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs = std::to_array<u32>({DryWet, Depth, Freq});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({DryWet, Freq});

    explicit Chorus(std::string moduleName = "Chorus");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// Clears lines and filters; the cycle starts anew.
    void OnReset(bool hard) override;
    bool Process(ProcessContext& context) override;
    /// After a reset while sound plays: what enters the lines fades in.
    void FadeIn() { entry.Start(); }

private:
    using Float4 = simd::Float4;

    struct Channel {
        SplineDelayLine line;
        /// Of the voices.
        SweptDelays delays;
    };

    ChorusSettings ReadSettings(const ProcessContext& context) override;
    void FollowSong(const ProcessContext& context) override;
    void StartMotion() override;

    bool IsAtRest() const;
    void StepDelays();
    void Swing(u32 quads);
    Float4 TapDelays(ChorusControls::Group offsets, float randomShift) const;
    template <bool moving>
    void RenderQuad(StereoQuad& sound);
    template <bool moving>
    Float4 ReadVoices(const Channel& channel) const;
    void FilterWet(StereoQuad& wet);

    std::array<Channel, 2> channels;
    /// Lanes 0 and 1: left and right.
    Float4 highCutState = Float4(0.0F);
    Float4 lowCutState = Float4(0.0F);
    ChorusLfo lfo;
    SongPull song;
    EntryFade entry;
};

} // namespace Velmora::dsp
