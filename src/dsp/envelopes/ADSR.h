// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/envelopes/EnvelopeStage.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/modulation/ModulationChannels.h"
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
    enum Parameter : u32 {
        Attack,
        AttackCurve,
        Decay,
        DecayCurve,
        Sustain,
        Release,
        ReleaseCurve,
        /// Above 0.5 the release takes time and curve of the decay.
        ReleaseLink,
        /// Above 0.5 the decay passes straight into the release, whatever the gate does.
        ADRMode,
        /// Above 0.5 an opening gate starts at zero, otherwise at the present level.
        HardRetrig,
        /// Open above 0.5.
        GateIn,
        /// Above 0.5 a block yields one sample, at index 0.
        ControlRate,
        /// Written by the module after each block: the Stage, and the phase within it.
        OutState,
        OutStatePhase,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    enum class Stage : i32 { Idle, Attack, Decay, Sustain, Release };

    explicit ADSR(std::string moduleName = "ADSR");

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    /// Silent and idle; the sustain level jumps to its parameter.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

    void SetGate(bool open) { SetParameterNormalized(GateIn, open ? 1.0F : 0.0F); }
    bool IsGateOpen() { return GetParameterNormalized(GateIn) >= 0.5F; }
    /// Opens the gate from the start, one that is open already too.
    void Restart();
    /// In one of its stages, as of the last block or reset.
    bool IsRunning() const { return stage != Stage::Idle; }

    /// After UpdateParameters: the level stands still over this block at HeldLevel. Process would render
    /// just that and leave all as it is, so it need not run.
    bool IsHeld() const { return isHeld; }
    float HeldLevel() const { return lastOutput; }

private:
    void ReadStages(const ProcessContext& context, u32 moved);
    void ReadSwitches();
    void OnModeChanged();
    void OnGateChanged();
    void EnterRelease();

    void RenderSustain(float target, u32 frames);

    float RetriggerPhase() const;

    bool HoldsLevel() const;
    bool NeedsCare(const ProcessContext& context) const;
    template <class Render>
    u32 WithRunningStage(Render render);
    void RenderFast(float* out);
    void RenderCarefully(float* out);
    u32 RenderSegment(const float* levels, float* out, u32 frames);
    template <class Level>
    u32 RunToEnd(const EnvelopeStage& timed, Level level, const float* levels, float* out, u32 frames);
    void FinishStage();
    void WriteOutputParameters();

    float sampleRate = 0.0F;
    bool runsOncePerBlock = false;
    bool skipsSustain = false;
    bool startsAtZero = true;
    Stage stage = Stage::Idle;
    /// The last block held its level, and nothing has changed since.
    bool isHeld = false;
    double phase = 0.0;
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
