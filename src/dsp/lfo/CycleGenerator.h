// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"

#include <cmath>
#include <span>
#include <string>
#include <vector>

namespace Velmora::dsp {

/// Keeps the phase of a periodic source, free-running in Hz or locked to the host's beat position, with
/// swing, key tracking and one-shot behaviour. A derived class turns phases into output.
///
/// Input 0 modulates the rate by its first sample. With ControlRate on, a block is one step: only the first
/// frame of buffers and outputs is written. Locked to the beat, the phase runs by the tempo within a cycle
/// and is taken from the beat position wherever a cycle begins, so that no error outlives a cycle. Jumps of
/// the host's position backwards, starts and stops leave a running cycle as it is.
class CycleGenerator : public UnitModule {
public:
    /// A one-shot cycle stops just before its start phase. FreeRunning knows no gate: its cycles count from
    /// beat 0.
    enum CycleMode : u32 { OneShot, RetriggeredCycle, FreeRunning, CycleModeCount };

    enum Parameter : u32 {
        /// A CycleMode.
        Mode,
        MidiSync,
        /// Hz.
        RateUnSynced,
        /// 0 to 8: 8 bars to 1/32 bar.
        RateSynced,
        AllRateSynced,
        /// 0 straight, 1 triplet, 2 dotted.
        RateSyncedType,
        /// Degrees; the normalized value is the phase.
        PhaseInit,
        KbTracking,
        /// Percent: at 100 the rate doubles per octave.
        KbTrackingAmount,
        /// Hz; middle C leaves the rate as it is.
        KbTrackingFreq,
        GateIn,
        ControlRate,
        SppHardFollow,
        /// Percent that the first of two cycles takes of both; 50 is even, and off.
        Swing,
        GeneratorParameterCount
    };

    /// Starts the cycle anew with the next block. A one-shot cycle that is over begins again only when
    /// GateIn rises; until then it returns to its resting phase.
    virtual void Retrigger();
    /// Turns the phases of numFrames steps into output.
    virtual void Render(const ProcessContext& context) = 0;
    /// Takes the rate from the parameters.
    virtual void UpdateRateValue();
    /// Fills in the rates of numFrames steps.
    virtual void RenderRate(const ProcessContext& context);

    void OnInitialize(float rate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

protected:
    static constexpr u32 rateInput = 0;

    /// The parameters of a derived class follow those of this one.
    CycleGenerator(std::string moduleName, u32 inputCount, u32 outputCount,
                   std::vector<ModuleParam>&& derivedRecords);

    /// The fractional part, of negative positions too: never below 0.
    template <class T>
    static T Fold(T position) {
        return position > T(0) && position < T(1) ? position : position - std::floor(position);
    }

    /// What the parameters say.
    struct CycleSettings {
        u32 mode = FreeRunning;
        bool synced = false;
        bool swingOn = false;
        bool controlRate = false;
        bool sppHardFollow = false;
        double phaseInit = 0.0;
        double swing = 0.5;
        float rateScale = 1.0F;
        /// Factor of the rate by the key.
        double keyFactor = 1.0;
    };

    CycleSettings cycle;
    float sampleRate = 44100.0F;
    /// Beats per minute.
    float tempo = 1.0F;
    struct Step {
        /// Hz, or the cycle's length in bars when synced.
        float rate;
        /// From 0 to below 1.
        float phase;
        /// A cycle begins here.
        bool trigger;
    };
    /// Of the last block. With ControlRate only the first is used, and one look fetches all of it.
    std::vector<Step> steps;

private:
    /// The block as the steps see it.
    struct Run {
        std::span<Step> steps;
        double framesPerStep;
        bool playing;
        bool playChanged;
    };

    void UpdateRateParameters();
    void UpdateKeyFactor();
    float RateAt(float value) const;

    void FollowTempo(float hostTempo);
    void FollowHost(float songPosition, const Run& run);
    void StartPhase(const Run& run, double beat);
    void HealState();

    void RunFree(const Run& run);
    void RunOneShotSynced(const Run& run);
    void RunLocked(const Run& run, double beat);
    double AdvanceCounted(Step& step, double phase, double increment);
    void StorePhase(Step& step, double phase) const;

    bool IsHeld() const { return cycle.mode == OneShot && oneShotDone; }
    /// Cycles per beat of a length in bars.
    double CyclesPerBeat(float bars) const { return 0.25 / static_cast<double>(bars) * cycle.keyFactor; }
    double SwingLength(double cycleNumber) const;
    double Swung(double position) const;

    bool needsPhaseInit = true;
    bool oneShotDone = false;
    bool wasPlaying = false;
    /// Phases as counted from PhaseInit, which is added on output; below 0 between a start and its first
    /// step.
    double freePhase = 0.0;
    double syncPhase = 0.0;
    /// The beat of the step before.
    double lastBeat = 0.0;
    /// The beat from which cycles count.
    double startBeat = 0.0;
    /// Beats per frame.
    double beatStep = 0.0;
    double beatsPerSampleAtOneBpm = 0.0;
    float lastHostBeat = 0.0F;
    float rateValue = 0.0F;
    /// The rate of the step before, at which the phase moves to the next one.
    float rateAtFrame = 0.0F;
    /// -1 until the first cycle begins.
    float cycleCount = -1.0F;
};

} // namespace Velmora::dsp
