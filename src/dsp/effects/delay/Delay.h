// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/SplineDelayLine.h"
#include "dsp/effects/delay/DelayControls.h"
#include "dsp/effects/shared/EffectUnit.h"
#include "dsp/effects/shared/EntryFade.h"
#include "dsp/effects/shared/SweptDelays.h"
#include "dsp/lfo/ChorusLfo.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A stereo echo with the loop of a tape machine: delay, first-order cuts, feedback, saturation. Each repeat
/// passes all of it once more. A change of time bends the pitch until the tape has taken up the new place.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers. A sample that is not a number or absurdly loud counts as 0, a null
/// input as silence.
///
/// The shortest time is 13 samples. The loop holds its level by itself: straight up to 6 dB above full scale,
/// never beyond 12 dB. At a "DryWet" of 0 the output is the input to the bit. The wet sound has no latency
/// but its own time.
class Delay final : public EffectUnit<DelaySettings, DelayControls> {
public:
    enum Parameter : u32 {
        /// 0..1, of equal power.
        DryWet,
        /// To the first echo, in ms.
        Time,
        /// 0: as "DryWet" says; 1: the wet sound alone.
        DryWetMode,
        /// -0.5..0.5: share of the time by which the right echo comes earlier; below 0 the left one.
        Offset,
        /// 0..1: level of a repeat against the one before.
        Feedback,
        /// A DelaySettings::Mode.
        Mode,
        /// When on, "SyncRate" and the tempo replace "Time" and its modulation.
        TempoSync,
        /// A step of SyncRates::echoBeats. Times beyond 2 s are halved until they fit.
        SyncRate,
        /// Corners in Hz of the echoes, first order, once more for each repeat; "LowCut" is out at its
        /// bottom but for the DC of the loop, "HighCut" at its top.
        LowCut,
        HighCut,
        /// 0..1: 0 puts the echoes in the middle.
        Width,
        /// Largest way in ms from the set time, slow with a flutter on top and never quite regular.
        Wow,
        /// 0..1: how low the tape saturates.
        Saturation,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs =
        std::to_array<u32>({DryWet, Time, Offset, LowCut, HighCut, Wow, Saturation, Feedback});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({DryWet, Feedback});

    explicit Delay(std::string moduleName = "Delay");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// Clears lines and filters; the wow starts anew.
    void OnReset(bool hard) override;
    bool Process(ProcessContext& context) override;
    /// After a reset while sound plays: what enters the lines fades in.
    void FadeIn() { entry.Start(); }

private:
    using Float4 = simd::Float4;

    DelaySettings ReadSettings(const ProcessContext& context) override;
    void StartMotion() override;
    float EchoSeconds(const ProcessContext& context);
    bool IsAtRest() const;
    void StepDelays();
    void Swing(u32 quads);
    template <bool moving>
    void RenderQuad(StereoQuad& sound);
    template <bool moving>
    void WriteLines(const StereoQuad& sound, const StereoQuad& repeats);

    std::array<SplineDelayLine, 2> lines;
    /// False while there is nothing to clear: the lines are long.
    bool linesUsed = false;
    LoopCuts cuts;
    EntryFade entry;
    ChorusLfo wow;
    /// Lane 0 left, 1 right.
    SweptDelays delays;
};

} // namespace Velmora::dsp
