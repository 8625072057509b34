// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/envelopes/EnvelopeStage.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/modulation/ModulationWatch.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <string>

namespace Velmora::dsp {

/// The envelope of a voice: a phase climbs from 0 to 1 in each timed stage, and an exponential curve of
/// adjustable bend makes the level from it.
///
/// Output 0 is the envelope. Inputs 0 to 6, each of which may be absent or null, modulate the parameters of
/// the same ids by their first sample. Times are in seconds, curves run from -20 to 20 with 0 linear, and
/// the sustain level from 0 to 1. "Attack", "Decay", "Sustain" and "Release" are raw until an owner
/// redeclares them over a range of its own.
///
/// No value can hold a stage for good: a time that is negative or not a number counts as 0.
class ADSR final : public UnitModule {
public:
    static constexpr u32 attack = 0;
    static constexpr u32 attackCurve = 1;
    static constexpr u32 decay = 2;
    static constexpr u32 decayCurve = 3;
    static constexpr u32 sustain = 4;
    static constexpr u32 release = 5;
    static constexpr u32 releaseCurve = 6;
    /// Above 0.5 the release takes time and curve of the decay.
    static constexpr u32 releaseLink = 7;
    /// Above 0.5 the decay passes straight into the release, whatever the gate does.
    static constexpr u32 adrMode = 8;
    /// Above 0.5 an opening gate starts at zero, otherwise at the present level.
    static constexpr u32 hardRetrig = 9;
    /// Open above 0.5.
    static constexpr u32 gateIn = 10;
    /// Above 0.5 a block yields one sample, at index 0.
    static constexpr u32 controlRate = 11;
    /// Written by the module after each block: the State, and the phase within it.
    static constexpr u32 outState = 12;
    static constexpr u32 outStatePhase = 13;
    static constexpr u32 parameterCount = 14;

    enum State : i32 { Idle = 0, Attack = 1, Decay = 2, Sustain = 3, Release = 4 };

    explicit ADSR(std::string moduleName = "ADSR");

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    /// Silent and idle; the sustain level jumps to its parameter.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

private:
    void ReadStages(const ProcessContext& context);
    void ReadSwitches();
    void OnModeChanged();
    void OnGateChanged();
    void EnterRelease();

    float AttackIncrement(float time) const;
    float DecayIncrement(float time) const;
    float ReleaseIncrement(float time) const;
    void RenderSustain(float target, u32 frames);

    float RetriggerPhase() const;

    bool NeedsCare(const ProcessContext& context) const;
    template <class Render>
    u32 WithRunningStage(Render render);
    void RenderFast(float* out);
    void RenderCarefully(float* out);
    u32 RenderSegment(const float* levels, float* out, u32 frames);
    template <class Level>
    u32 RunToEnd(const EnvelopeStage& stage, Level level, const float* levels, float* out, u32 frames);
    void FinishStage();
    void WriteOutputParameters();

    float sampleRate = 0.0F;
    bool runsOncePerBlock = false;
    bool skipsSustain = false;
    bool startsAtZero = true;
    i32 state = Idle;
    float phase = 0.0F;
    /// The last level before clamping; a release stays anchored to the one at which it began.
    float current = 0.0F;
    float lastOutput = 0.0F;
    u32 framesPerRun = 0;
    ModulationWatch watch;
    EnvelopeStage attackStage;
    EnvelopeStage decayStage;
    EnvelopeStage releaseStage;
    SmootherInterpLPF sustainSmoother;
    AlignedBuffer sustainBuffer;
};

} // namespace Velmora::dsp
