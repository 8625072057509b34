// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/CycleGenerator.h"

#include "dsp/framework/ParameterDeclaration.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace Velmora::dsp {

namespace {

/// Note lengths in bars.
constexpr float syncedRates[] = {8.0F, 4.0F, 2.0F, 1.0F, 0.5F, 0.25F, 0.125F, 0.0625F, 0.03125F};
/// Straight, triplet, dotted.
constexpr float rateScales[] = {1.0F, 0.6666667F, 1.5F};

/// Where a one-shot cycle rests: just before its start.
constexpr double restingPhase = 0.999999;
/// Beyond these a host's numbers are garbage.
constexpr float highestTempo = 1e4F;
constexpr float highestBeat = 1e9F;
/// Where a float stops counting every cycle is not reached; even, so that swing keeps its place.
constexpr float highestCycleCount = 8388608.0F;

const float largestBelowOne = std::nextafter(1.0F, 0.0F);

std::vector<ModuleParam> Records(std::vector<ModuleParam>&& derived) {
    std::vector<ModuleParam> records = RecordsOf(
        {Declare::Choice("Mode", CycleGenerator::CycleModeCount, CycleGenerator::FreeRunning),
         Declare::Raw("MidiSync"), Declare::Raw("RateUnSynced"),
         Declare::Choice("RateSynced", std::size(syncedRates)), Declare::Choice("AllRateSynced", 27),
         Declare::Choice("RateSyncedType", std::size(rateScales)), Declare::Linear("PhaseInit", 0.0F, 360.0F),
         Declare::Raw("KbTracking"), Declare::Raw("KbTrackingAmount"),
         Declare::Linear("KbTrackingFreq", 1.0F, 40000.0F), Declare::Raw("GateIn"),
         Declare::Raw("ControlRate"), Declare::Raw("SppHardFollow"), Declare::Linear("Swing", 50.0F, 75.0F)});
    std::move(derived.begin(), derived.end(), std::back_inserter(records));
    return records;
}

} // namespace

CycleGenerator::CycleGenerator(std::string moduleName, u32 inputCount, u32 outputCount,
                               std::vector<ModuleParam>&& derivedRecords)
    : UnitModule(std::move(moduleName), inputCount, outputCount, Records(std::move(derivedRecords))) {}

void CycleGenerator::OnInitialize(float rate, u32 maxBlockSize) {
    sampleRate = rate;
    beatsPerSampleAtOneBpm = 0.016666666666666666 / static_cast<double>(sampleRate);
    beatStep = static_cast<double>(tempo) * beatsPerSampleAtOneBpm;
    steps.assign(maxBlockSize, {});
}

void CycleGenerator::OnReset(bool /*hard*/) {
    wasPlaying = false;
    Retrigger();
}

void CycleGenerator::Retrigger() {
    for (Step& step : steps) {
        step.phase = 0.0F;
    }
    cycleCount = -1.0F;
    lastBeat = 0.0;
    startBeat = 0.0;
    needsPhaseInit = true;
}

bool CycleGenerator::UpdateParameters(ProcessContext& context) {
    FollowTempo(context.tempo);
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(Mode)) {
        cycle.mode = ToIndex(Value(Mode), CycleModeCount);
    }
    UpdateRateParameters();
    if (Changed(PhaseInit)) {
        const float phase = parameters[PhaseInit].GetNormalized();
        cycle.phaseInit = std::isfinite(phase) ? static_cast<double>(phase) : 0.0;
    }
    if (Changed(GateIn) && Value(GateIn) > 0.5F && cycle.mode != FreeRunning) {
        oneShotDone = false;
        Retrigger();
    }
    if (Changed(ControlRate)) {
        cycle.controlRate = Value(ControlRate) >= 0.5F;
    }
    if (Changed(SppHardFollow)) {
        cycle.sppHardFollow = Value(SppHardFollow) >= 0.5F;
    }
    if (Changed(Swing)) {
        cycle.swingOn = parameters[Swing].GetNormalized() > 0.0F;
        const float percent = Value(Swing);
        cycle.swing = static_cast<double>(percent > 50.0F ? std::min(percent, 75.0F) : 50.0F) * 0.01;
    }
    if (Changed(KbTracking) || Changed(KbTrackingAmount) || Changed(KbTrackingFreq) || Changed(MidiSync)) {
        UpdateKeyFactor();
    }
    return true;
}

/// A tempo that cannot be is not followed.
void CycleGenerator::FollowTempo(float hostTempo) {
    if (hostTempo != tempo && hostTempo >= 0.0F && hostTempo <= highestTempo) {
        tempo = hostTempo;
        beatStep = static_cast<double>(tempo) * beatsPerSampleAtOneBpm;
    }
}

void CycleGenerator::UpdateRateParameters() {
    const auto first = parameterChanged.begin() + MidiSync;
    if (std::find_if(first, first + 5, [](u8 changed) { return changed != 0; }) == first + 5) {
        return;
    }
    const float sync = parameters[MidiSync].GetNormalized();
    if (Changed(MidiSync)) {
        cycle.synced = sync >= 0.5F;
        Retrigger();
    }
    if (Changed(MidiSync) || Changed(RateSyncedType)) {
        cycle.rateScale =
            sync > 0.5F ? rateScales[ToIndex(Value(RateSyncedType), std::size(rateScales))] : 1.0F;
    }
    UpdateRateValue();
}

/// Locked to the beat, keys move the rate by whole octaves only: all others would leave the beat.
void CycleGenerator::UpdateKeyFactor() {
    cycle.keyFactor = 1.0;
    if (Value(KbTracking) > 0.5F) {
        const float octaves =
            std::log2(Value(KbTrackingFreq) * 0.003822256F) * Value(KbTrackingAmount) * 0.01F;
        cycle.keyFactor = std::exp2(static_cast<double>(cycle.synced ? std::round(octaves) : octaves));
    }
}

float CycleGenerator::RateAt(float value) const {
    return cycle.synced ? syncedRates[ToIndex(value, std::size(syncedRates))] * cycle.rateScale : value;
}

void CycleGenerator::UpdateRateValue() {
    rateValue = RateAt(Value(cycle.synced ? RateSynced : RateUnSynced));
}

void CycleGenerator::RenderRate(const ProcessContext& context) {
    float rate = rateValue;
    if (context.ActiveModulation(rateInput) != nullptr) {
        ModuleParam& parameter = parameters[cycle.synced ? RateSynced : RateUnSynced];
        rate = RateAt(parameter.GetModulatedValue(context, rateInput));
    }
    for (Step& step : std::span(steps).first(context.numFrames)) {
        step.rate = rate;
    }
}

bool CycleGenerator::Process(ProcessContext& context) {
    if (context.numFrames == 0) {
        return true;
    }
    HealState();
    ProcessContext stepped = context;
    stepped.numFrames = cycle.controlRate ? 1 : context.numFrames;
    const bool playing = context.isPlaying != 0;
    const u32 framesPerStep = context.numFrames / stepped.numFrames;
    const Run run{std::span(steps).first(stepped.numFrames), static_cast<double>(framesPerStep), playing,
                  playing != wasPlaying};
    wasPlaying = playing;
    for (Step& step : run.steps) {
        step.trigger = false;
    }
    if (run.playChanged && playing && cycle.mode == FreeRunning) {
        Retrigger();
    }
    RenderRate(stepped);
    FollowHost(context.songPosition, run);
    const double beat = playing ? static_cast<double>(lastHostBeat) : run.framesPerStep * beatStep + lastBeat;
    if (needsPhaseInit) {
        StartPhase(run, beat);
    }
    if (!cycle.synced) {
        RunFree(run);
    } else if (cycle.mode == OneShot) {
        RunOneShotSynced(run);
    } else {
        RunLocked(run, beat);
    }
    lastBeat = beat + static_cast<double>(run.steps.size() - 1) * beatStep;
    Render(stepped);
    return true;
}

/// A rate that is not finite must not leave its mark on the phase.
void CycleGenerator::HealState() {
    if (!std::isfinite(freePhase + syncPhase + lastBeat + startBeat)) {
        freePhase = syncPhase = 0.0;
        rateAtFrame = 0.0F;
        Retrigger();
    }
}

/// Keeps the beats that are stored in step with the host's position: a jump backwards moves them along, and
/// where the host starts or stops, its own count and ours meet. Before the song's start the beat stands at
/// 0; cycles that do not count from there run on as over a jump in each block.
void CycleGenerator::FollowHost(float songPosition, const Run& run) {
    const bool free = cycle.mode == FreeRunning;
    const float position = std::abs(songPosition) <= highestBeat ? songPosition : lastHostBeat;
    const float hostBeat = std::max(position, 0.0F);
    const bool rose = run.playChanged && run.playing;
    const bool backwards = free ? hostBeat < lastHostBeat && run.playing : position < lastHostBeat;
    const double stepBeats = beatStep * run.framesPerStep;
    if (backwards && !rose) {
        const double jump =
            stepBeats * static_cast<double>(run.steps.size()) + static_cast<double>(lastHostBeat - hostBeat);
        lastBeat -= jump;
        if (!free) {
            startBeat -= jump;
        }
    }
    lastHostBeat = hostBeat;
    if (run.playChanged && !free) {
        const double stepBefore = static_cast<double>(lastHostBeat) - stepBeats;
        if (rose) {
            startBeat += stepBefore - lastBeat;
        }
        lastBeat = stepBefore;
    }
}

/// Places the phase one step before the start, where the first step reaches it.
void CycleGenerator::StartPhase(const Run& run, double beat) {
    needsPhaseInit = false;
    const double share = cycle.swingOn ? SwingLength(0.0) : 1.0;
    if (!cycle.synced) {
        if (cycle.mode == FreeRunning && run.playing && !run.playChanged) {
            return;
        }
        rateAtFrame = steps[0].rate;
        const double increment = static_cast<double>(rateAtFrame) *
                                 (run.framesPerStep * cycle.keyFactor / static_cast<double>(sampleRate));
        freePhase = IsHeld() ? restingPhase : -increment / share;
        return;
    }
    const double cyclesPerBeat = CyclesPerBeat(steps[0].rate);
    const double increment = cyclesPerBeat * run.framesPerStep * beatStep / share;
    lastBeat = beat - run.framesPerStep * beatStep * cycle.keyFactor;
    if (cycle.mode == FreeRunning && run.playing) {
        startBeat = 0.0;
        syncPhase = Fold(cyclesPerBeat * beat) - increment;
    } else {
        startBeat = cycle.sppHardFollow && run.playing ? 0.0 : beat;
        syncPhase = IsHeld() ? restingPhase : -increment;
    }
}

void CycleGenerator::RunFree(const Run& run) {
    const double perHertz = run.framesPerStep * cycle.keyFactor / static_cast<double>(sampleRate);
    for (Step& step : run.steps) {
        double increment = static_cast<double>(rateAtFrame) * perHertz;
        if (cycle.swingOn) {
            // Before the first cycle that one's own speed holds.
            increment /= SwingLength(static_cast<double>(std::max(cycleCount, 0.0F)));
        }
        freePhase = AdvanceCounted(step, freePhase, increment);
        rateAtFrame = step.rate;
    }
}

void CycleGenerator::RunOneShotSynced(const Run& run) {
    const double stepBeats = run.framesPerStep * beatStep;
    for (Step& step : run.steps) {
        syncPhase = AdvanceCounted(step, syncPhase, CyclesPerBeat(step.rate) * stepBeats);
    }
}

/// One step of a phase whose cycles are counted as they pass. Returns the new phase.
double CycleGenerator::AdvanceCounted(Step& step, double phase, double increment) {
    if (IsHeld()) {
        StorePhase(step, phase);
        return phase;
    }
    const double next = phase + increment;
    const bool staysWithinFirst = phase >= 0.0 && phase < 1.0 && next >= 0.0 && next < 1.0;
    if (!staysWithinFirst && std::floor(phase) != std::floor(next)) {
        step.trigger = true;
        cycleCount += 1.0F;
        if (cycleCount > 0.0F) {
            oneShotDone = true;
        }
        if (cycleCount >= highestCycleCount) {
            cycleCount = 2.0F;
        }
    }
    const bool ends = IsHeld();
    if (ends) {
        step.trigger = false;
    }
    phase = ends ? restingPhase : Fold(next);
    StorePhase(step, phase);
    return phase;
}

/// The cycle's number and its beginnings come from the beat, the phase in between from the tempo, or with
/// SppHardFollow in free-running mode from the beat alone.
void CycleGenerator::RunLocked(const Run& run, double beat) {
    const bool hardFollow = cycle.sppHardFollow && cycle.mode == FreeRunning;
    double before = lastBeat;
    for (Step& step : run.steps) {
        const double cyclesPerBeat = CyclesPerBeat(step.rate);
        double position = (beat - startBeat) * cyclesPerBeat;
        double positionBefore = (before - startBeat) * cyclesPerBeat;
        if (cycle.swingOn) {
            position = Swung(position);
            positionBefore = Swung(positionBefore);
        }
        const double cycleNumber = std::floor(position);
        if (cycleNumber != std::floor(positionBefore)) {
            step.trigger = true;
            syncPhase = position - cycleNumber;
            if (cycleNumber > 0.0) {
                oneShotDone = true;
            }
        } else if (hardFollow) {
            syncPhase = position - cycleNumber;
        } else {
            const double increment = cyclesPerBeat * run.framesPerStep * beatStep;
            syncPhase = Fold(syncPhase + (cycle.swingOn ? increment / SwingLength(cycleNumber) : increment));
        }
        StorePhase(step, syncPhase);
        before = beat;
        beat += beatStep;
    }
}

/// A phase that is not a number leaves as 0, and is healed with the next block.
void CycleGenerator::StorePhase(Step& step, double phase) const {
    const auto shifted = static_cast<float>(Fold(phase + cycle.phaseInit));
    step.phase = shifted > 0.0F ? std::min(shifted, largestBelowOne) : 0.0F;
}

/// The length of a cycle in even cycles: even numbers are long, odd ones short.
double CycleGenerator::SwingLength(double cycleNumber) const {
    const double place = 2.0 * Fold(cycleNumber * 0.5);
    return 2.0 * (place >= 1.0 ? 1.0 - cycle.swing : cycle.swing);
}

/// A position in even cycles as one in swung cycles. Pairs of cycles begin where they began.
double CycleGenerator::Swung(double position) const {
    const double place = 2.0 * Fold(position * 0.5);
    const double first = 2.0 * cycle.swing;
    return (position - place) + (place < first ? place / first : (place - first) / (2.0 - first) + 1.0);
}

} // namespace Velmora::dsp
