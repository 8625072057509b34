// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/envelopes/ADSR.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;

constexpr float curveLimit = 20.0F;
constexpr float infinity = std::numeric_limits<float>::infinity();

std::vector<ModuleParam> Records() {
    const auto curve = [](const char* curveName, float start) {
        return Declare::Linear(curveName, -curveLimit, curveLimit, start);
    };
    return RecordsOf({Declare::Raw("Attack"), curve("AttackCurve", -curveLimit), Declare::Raw("Decay"),
                      curve("DecayCurve", -curveLimit), Declare::Raw("Sustain"), Declare::Raw("Release"),
                      curve("ReleaseCurve", -5.0F), Declare::Switch("ReleaseLink"), Declare::Raw("ADRMode"),
                      Declare::Raw("HardRetrig", 1.0F), Declare::Raw("GateIn"), Declare::Raw("ControlRate"),
                      Declare::Choice("OutState", 5), Declare::Raw("OutStatePhase")});
}

float FiniteOrZero(float x) { return std::isfinite(x) ? x : 0.0F; }

} // namespace

ADSR::ADSR(std::string moduleName) : UnitModule(std::move(moduleName), 7, 1, Records()) {
    sustainSmoother.time = 0.01;
}

void ADSR::OnInitialize(float newSampleRate, u32 maxBlockSize) {
    sampleRate = newSampleRate;
    sustainSmoother.Prepare(newSampleRate, 1);
    sustainSmoother.SetInterpSteps(maxBlockSize);
    sustainBuffer.assign(RoundUpToFour(maxBlockSize), 0.0F);
}

void ADSR::OnReset(bool /*hard*/) {
    stage = Stage::Idle;
    isHeld = false;
    phase = 0.0;
    lastOutput = 0.0F;
    WriteOutputParameters();
    sustainSmoother.Set(FiniteOrZero(Value(Sustain)));
}

bool ADSR::UpdateParameters(ProcessContext& context) {
    const u32 moved = watch.Changes(context, 0, numInputs);
    if (moved != 0 || anyParameterChanged || runsOncePerBlock) {
        isHeld = false;
        ReadStages(context, moved);
    }
    if (anyParameterChanged) {
        ReadSwitches();
    }
    framesPerRun = context.numFrames;
    if (runsOncePerBlock && framesPerRun > 0) {
        const auto frames = static_cast<float>(framesPerRun);
        attackStage.inc *= frames;
        decayStage.inc *= frames;
        releaseStage.inc *= frames;
        framesPerRun = 1;
    }
    return true;
}

/// Reads what changed or was moved by an input; a bit of `moved` stands for the input of the same number.
void ADSR::ReadStages(const ProcessContext& context, u32 moved) {
    // A stage counted in blocks is scaled after this, so it starts from its time each time.
    const bool readsAll = runsOncePerBlock || Changed(ReleaseLink);
    const auto readStage = [&](EnvelopeStage& timed, u32 timeId, u32 curveId, float stepAtZero) {
        const auto read = [&](u32 id) { return parameters[id].GetModulatedValue(context, id); };
        const auto isNew = [&](u32 id) { return readsAll || Changed(id) || (moved >> id & 1U) != 0; };
        if (isNew(timeId)) {
            timed.inc = EnvelopeStage::PhaseStep(read(timeId) * sampleRate, stepAtZero);
        }
        if (isNew(curveId)) {
            timed.SetCurve(read(curveId));
        }
    };
    readStage(attackStage, Attack, AttackCurve, 1.0F);
    readStage(decayStage, Decay, DecayCurve, infinity);
    if (Value(ReleaseLink) > 0.5F) {
        releaseStage = decayStage;
    } else {
        readStage(releaseStage, Release, ReleaseCurve, infinity);
    }
}

void ADSR::ReadSwitches() {
    if (Changed(ADRMode)) {
        OnModeChanged();
    }
    if (Changed(HardRetrig)) {
        startsAtZero = Value(HardRetrig) > 0.5F;
    }
    if (Changed(GateIn)) {
        OnGateChanged();
    }
    if (Changed(ControlRate)) {
        runsOncePerBlock = Value(ControlRate) > 0.5F;
    }
}

void ADSR::OnModeChanged() {
    skipsSustain = Value(ADRMode) > 0.5F;
    const bool nothingHolds = skipsSustain && stage == Stage::Sustain;
    const bool gateIsClosed = !(Value(GateIn) > 0.5F);
    if ((nothingHolds || gateIsClosed) && stage != Stage::Release) {
        EnterRelease();
    }
}

void ADSR::OnGateChanged() {
    if (Value(GateIn) > 0.5F) {
        stage = Stage::Attack;
        phase = startsAtZero ? 0.0 : static_cast<double>(ClampToUnit(RetriggerPhase()));
        // In case the gate closes before a frame was rendered.
        current = lastOutput;
    } else if (!skipsSustain) {
        EnterRelease();
    }
}

void ADSR::EnterRelease() {
    if (stage != Stage::Idle) {
        stage = Stage::Release;
    }
    phase = 0.0;
}

/// Where the attack passes the present level.
float ADSR::RetriggerPhase() const { return attackStage.PhaseAt(lastOutput); }

void ADSR::RenderSustain(float target, u32 frames) {
    // Handed on once per change: the smoother would begin its ramp anew with every block otherwise.
    if (static_cast<double>(target) != sustainSmoother.target) {
        sustainSmoother.SetTarget(target);
    }
    if (sustainSmoother.IsAtTarget() && sustainSmoother.interpValue == sustainSmoother.target) {
        std::fill_n(sustainBuffer.data(), RoundUpToFour(frames), target);
    } else {
        sustainSmoother.RenderBlock(sustainBuffer.data(), frames);
    }
}

void ADSR::Restart() {
    SetGate(false);
    SetGate(true);
}

bool ADSR::Process(ProcessContext& context) {
    if (context.numFrames > 0) {
        RenderSustain(FiniteOrZero(parameters[Sustain].GetModulatedValue(context, Sustain)),
                      context.numFrames);
        if (NeedsCare(context)) {
            RenderCarefully(context.outputs[0]);
        } else {
            RenderFast(context.outputs[0]);
        }
        isHeld = HoldsLevel();
    }
    WriteOutputParameters();
    return true;
}

bool ADSR::HoldsLevel() const {
    return stage == Stage::Sustain && !runsOncePerBlock && sustainSmoother.IsAtTarget() &&
           sustainSmoother.interpValue == sustainSmoother.target &&
           static_cast<double>(lastOutput) == sustainSmoother.target &&
           static_cast<double>(current) == sustainSmoother.target;
}

/// Whether the block must be rendered frame by frame, because its stage may end or its time is moving.
bool ADSR::NeedsCare(const ProcessContext& context) const {
    const auto restless = [&](const EnvelopeStage& timed, u32 timeInput) {
        return framesPerRun * static_cast<double>(timed.inc) + phase >= 1.0 ||
               context.ActiveModulation(timeInput) != nullptr;
    };
    return runsOncePerBlock || (stage == Stage::Attack && restless(attackStage, Attack)) ||
           (stage == Stage::Decay && restless(decayStage, Decay)) ||
           (stage == Stage::Release && restless(releaseStage, Release));
}

/// Returns render(stage, level) for the timed stage that runs, 0 outside of one. level(progress, sustain)
/// is the envelope; it takes single frames or four at once.
template <class Render>
u32 ADSR::WithRunningStage(Render render) {
    switch (stage) {
    case Stage::Attack:
        return render(attackStage, [](auto bend, auto /*level*/) { return bend; });
    case Stage::Decay:
        return render(decayStage, [](auto bend, auto level) {
            const decltype(bend) one(1.0F);
            return one - (one - level) * bend;
        });
    case Stage::Release:
        return render(releaseStage, [start = current](auto bend, auto /*level*/) {
            const decltype(bend) from(start);
            return from - from * bend;
        });
    default:
        return 0;
    }
}

void ADSR::RenderFast(float* out) {
    const u32 frames = framesPerRun;
    const float* levels = sustainBuffer.data();
    // The release is left as it comes.
    const Float4 low(stage == Stage::Release ? -infinity : 0.0F);
    const Float4 high(stage == Stage::Release ? infinity : 1.0F);
    const u32 rendered = WithRunningStage([&](const EnvelopeStage& timed, auto level) {
        phase = timed.RenderFours(phase, out, frames, [=](u32 n, Float4 bend) {
            return xsimd::min(xsimd::max(level(bend, Float4::load_aligned(levels + n)), low), high);
        });
        return frames;
    });
    if (rendered == 0 && stage == Stage::Sustain) {
        std::copy_n(levels, frames, out);
    } else if (rendered == 0) {
        std::fill_n(out, frames, 0.0F);
    }
    lastOutput = out[frames - 1];
    if (stage != Stage::Release && stage != Stage::Idle) {
        current = lastOutput;
    }
    phase = std::min(phase, 1.0);
}

void ADSR::RenderCarefully(float* out) {
    for (u32 n = 0; n < framesPerRun;) {
        n += RenderSegment(sustainBuffer.data() + n, out + n, framesPerRun - n);
    }
    lastOutput = out[framesPerRun - 1];
}

/// Renders to the end of the stage or of the block, whichever comes first; returns the number of frames.
u32 ADSR::RenderSegment(const float* levels, float* out, u32 frames) {
    if (stage == Stage::Attack && attackStage.inc >= 1.0F) {
        // An attack within one frame goes to the top at once.
        out[0] = current = 1.0F;
        FinishStage();
        return 1;
    }
    const u32 rendered = WithRunningStage(
        [&](const EnvelopeStage& timed, auto level) { return RunToEnd(timed, level, levels, out, frames); });
    if (rendered > 0) {
        return rendered;
    }
    if (stage == Stage::Sustain) {
        std::transform(levels, levels + frames, out, ClampToUnit);
        current = levels[frames - 1];
    } else {
        std::fill_n(out, frames, 0.0F);
    }
    return frames;
}

template <class Level>
u32 ADSR::RunToEnd(const EnvelopeStage& timed, Level level, const float* levels, float* out, u32 frames) {
    const bool linear = timed.IsLinear();
    double p = phase;
    float sample = 0.0F;
    u32 n = 0;
    do {
        const auto progress = static_cast<float>(p);
        sample = level(linear ? progress : timed.Bend(progress), levels[n]);
        out[n++] = ClampToUnit(sample);
        p += static_cast<double>(timed.inc);
    } while (n < frames && p < 1.0);
    // A release stays anchored to the level at which it began.
    if (stage != Stage::Release) {
        current = sample;
    }
    phase = p;
    if (p >= 1.0) {
        FinishStage();
    }
    return n;
}

void ADSR::FinishStage() {
    phase = 0.0;
    if (stage == Stage::Attack) {
        stage = Stage::Decay;
    } else if (stage == Stage::Decay) {
        stage = skipsSustain ? Stage::Release : Stage::Sustain;
    } else {
        stage = Stage::Idle;
    }
}

void ADSR::WriteOutputParameters() {
    parameters[OutState].SetValue(static_cast<float>(stage));
    parameters[OutStatePhase].SetValue(static_cast<float>(phase));
}

} // namespace Velmora::dsp
