// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/lfo/CycleGenerator.h"
#include "dsp/smoothing/SmootherLPF.h"

#include <string>

namespace Velmora::dsp {

/// A low-frequency source of six waveforms, with amplitude, smoothing, fade-in and a second channel that
/// runs at an offset.
///
/// Input 0 modulates the rate, 1 the amplitude, 2 shifts the phase; each counts by its first sample and
/// only where it is marked as active. Outputs: one channel, or two with Stereo, -1 to 1 times the amplitude
/// or 0 to 1 times it with Unipolar. With ControlRate only the first frame of an output is written.
class LFO final : public CycleGenerator {
public:
    enum WaveformValue : u32 { Sine, Triangle, FallingSaw, RisingSaw, Square, SampleAndHold, WaveformCount };

    enum Parameter : u32 {
        /// A WaveformValue.
        Waveform = GeneratorParameterCount,
        Amp,
        /// Seconds, or cycles with SmoothRateLinked.
        Smooth,
        SmoothRateLinked,
        /// Seconds.
        Fade,
        Stereo,
        /// Degrees.
        StereoSpread,
        /// Sample and hold in the second channel: 0 delayed by the spread, 1 mirrored.
        SnHStereoMode,
        Unipolar,
        /// Written by each block: the phase and the value of its first frame.
        CurrentPhaseFeedback,
        CurrentValueLFeedback,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    /// Starts at a point of the random sequence that the system clock chooses.
    explicit LFO(std::string moduleName = "LFO");

    /// Starts the random sequence at a given point, for reproducible renders, and draws the values held
    /// anew. 0 is replaced by a fixed seed.
    void Seed(u32 seed);

    /// While nobody reads the output, a block may leave it as it is; all else goes on as ever.
    void SetHeard(bool on) { isHeard = on; }

    /// Also draws a new value to hold and begins the fade-in.
    void Retrigger() override;
    void Render(const ProcessContext& context) override;

    void OnInitialize(float rate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;

private:
    static constexpr u32 amplitudeInput = 1;
    static constexpr u32 phaseInput = 2;
    static constexpr u32 maxChannels = 2;

    /// What the parameters say.
    struct ShapeSettings {
        u32 waveform = Sine;
        u32 channels = 1;
        u32 snhMode = 0;
        bool unipolar = false;
        bool smoothLinked = false;
    };

    bool NeedsOutput() const;
    void AdvanceFade(u32 frames);
    void PrepareRunLength();
    void SetSmoothTime(float seconds);
    void LinkSmoothTime();
    void DrawHeldValues();
    float Draw();

    float PhaseOffset(const ProcessContext& context);
    float Spread();
    void RenderWave(float* out, u32 frames, float offset) const;
    void RenderSampleAndHold(const ProcessContext& context, u32 channelCount);
    void FollowDelayed(float phase, float delay, bool trigger);
    void FinishChannel(float* out, u32 frames, float amplitude, SmootherLPF& smoother) const;

    ShapeSettings shape;
    bool isHeard = true;
    u32 blockSize = 0;

    float snh[maxChannels] = {};
    float snhPrevious = 0.0F;
    float lastPhase = 0.0F;
    /// The second channel has taken over the present value.
    bool snhArmed = false;
    u32 rngState;

    bool smoothOn = false;
    SmootherLPF smoothers[maxChannels];

    /// From 0 to 1 along the fade-in.
    float fadeValue = 1.0F;
    float fadeStep = 0.0F;
    /// Frames per step.
    float fadeRunLength = 44.0F;
};

} // namespace Velmora::dsp
