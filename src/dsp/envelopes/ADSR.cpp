// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/envelopes/ADSR.h"

#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;

constexpr i32 linearMappingId = 1;
constexpr float curveLimit = 20.0F;
constexpr float infinity = std::numeric_limits<float>::infinity();

std::vector<ModuleParam> Records() {
    const auto curve = [](const char* curveName) {
        return ModuleParam::Mapped(curveName, linearMappingId, -curveLimit, curveLimit, 0.0F);
    };
    std::vector<ModuleParam> records;
    records.emplace_back("Attack");
    records.push_back(curve("AttackCurve"));
    records.emplace_back("Decay");
    records.push_back(curve("DecayCurve"));
    records.emplace_back("Sustain");
    records.emplace_back("Release");
    records.push_back(curve("ReleaseCurve"));
    records.push_back(ModuleParam::Stepped("ReleaseLink", 2, 0.0F, 1.0F));
    for (const char* rawName : {"ADRMode", "HardRetrig", "GateIn", "ControlRate"}) {
        records.emplace_back(rawName);
    }
    records.push_back(ModuleParam::Stepped("OutState", 5, 0.0F, 1.0F));
    records.emplace_back("OutStatePhase");
    records[ADSR::releaseCurve].SetValue(-5.0F);
    records[ADSR::hardRetrig].SetNormalized(1.0F);
    return records;
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
    state = Idle;
    phase = 0.0F;
    lastOutput = 0.0F;
    WriteOutputParameters();
    sustainSmoother.Set(FiniteOrZero(Value(sustain)));
}

bool ADSR::UpdateParameters(ProcessContext& context) {
    // A stage counted in blocks is scaled below, so it starts from its time each time.
    if (watch.Sees(context, 0, numInputs) || anyParameterChanged || runsOncePerBlock) {
        ReadStages(context);
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

void ADSR::ReadStages(const ProcessContext& context) {
    const auto read = [&](u32 id) { return parameters[id].GetModulatedValue(context, id); };
    attackStage.inc = AttackIncrement(read(attack));
    attackStage.SetCurve(read(attackCurve));
    decayStage.inc = DecayIncrement(read(decay));
    decayStage.SetCurve(read(decayCurve));
    if (Value(releaseLink) > 0.5F) {
        releaseStage = decayStage;
    } else {
        releaseStage.inc = ReleaseIncrement(read(release));
        releaseStage.SetCurve(read(releaseCurve));
    }
}

float ADSR::AttackIncrement(float time) const { return EnvelopeStage::PhaseStep(time * sampleRate, 1.0F); }
float ADSR::DecayIncrement(float time) const { return EnvelopeStage::PhaseStep(time * sampleRate, infinity); }
float ADSR::ReleaseIncrement(float time) const {
    return EnvelopeStage::PhaseStep(time * sampleRate, infinity);
}

void ADSR::ReadSwitches() {
    if (Changed(adrMode)) {
        OnModeChanged();
    }
    if (Changed(hardRetrig)) {
        startsAtZero = Value(hardRetrig) > 0.5F;
    }
    if (Changed(gateIn)) {
        OnGateChanged();
    }
    if (Changed(controlRate)) {
        runsOncePerBlock = Value(controlRate) > 0.5F;
    }
}

void ADSR::OnModeChanged() {
    skipsSustain = Value(adrMode) > 0.5F;
    const bool nothingHolds = skipsSustain && state == Sustain;
    const bool gateIsClosed = !(Value(gateIn) > 0.5F);
    if ((nothingHolds || gateIsClosed) && state != Release) {
        EnterRelease();
    }
}

void ADSR::OnGateChanged() {
    if (Value(gateIn) > 0.5F) {
        state = Attack;
        phase = startsAtZero ? 0.0F : ClampToUnit(RetriggerPhase());
        // In case the gate closes before a frame was rendered.
        current = lastOutput;
    } else if (!skipsSustain) {
        EnterRelease();
    }
}

void ADSR::EnterRelease() {
    if (state != Idle) {
        state = Release;
    }
    phase = 0.0F;
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

bool ADSR::Process(ProcessContext& context) {
    if (context.numFrames > 0) {
        RenderSustain(FiniteOrZero(parameters[sustain].GetModulatedValue(context, sustain)),
                      context.numFrames);
        if (NeedsCare(context)) {
            RenderCarefully(context.outputs[0]);
        } else {
            RenderFast(context.outputs[0]);
        }
    }
    WriteOutputParameters();
    return true;
}

/// Whether the block must be rendered frame by frame, because its stage may end or its time is moving.
bool ADSR::NeedsCare(const ProcessContext& context) const {
    const auto restless = [&](const EnvelopeStage& stage, u32 timeInput) {
        return static_cast<float>(framesPerRun) * stage.inc + phase >= 1.0F ||
               context.ActiveModulation(timeInput) != nullptr;
    };
    return runsOncePerBlock || (state == Attack && restless(attackStage, attack)) ||
           (state == Decay && restless(decayStage, decay)) ||
           (state == Release && restless(releaseStage, release));
}

/// Returns render(stage, level) for the timed stage that runs, 0 outside of one. level(progress, sustain)
/// is the envelope; it takes single frames or four at once.
template <class Render>
u32 ADSR::WithRunningStage(Render render) {
    switch (state) {
    case Attack:
        return render(attackStage, [](auto bend, auto /*level*/) { return bend; });
    case Decay:
        return render(decayStage, [](auto bend, auto level) {
            const decltype(bend) one(1.0F);
            return one - (one - level) * bend;
        });
    case Release:
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
    const Float4 low(state == Release ? -infinity : 0.0F);
    const Float4 high(state == Release ? infinity : 1.0F);
    const u32 timed = WithRunningStage([&](const EnvelopeStage& stage, auto level) {
        phase = stage.RenderFours(phase, out, frames, [=](u32 n, Float4 bend) {
            return xsimd::min(xsimd::max(level(bend, Float4::load_aligned(levels + n)), low), high);
        });
        return frames;
    });
    if (timed == 0 && state == Sustain) {
        std::copy_n(levels, frames, out);
    } else if (timed == 0) {
        std::fill_n(out, frames, 0.0F);
    }
    lastOutput = out[frames - 1];
    if (state != Release && state != Idle) {
        current = lastOutput;
    }
    phase = ClampToUnit(phase);
}

void ADSR::RenderCarefully(float* out) {
    for (u32 n = 0; n < framesPerRun;) {
        n += RenderSegment(sustainBuffer.data() + n, out + n, framesPerRun - n);
    }
    lastOutput = out[framesPerRun - 1];
}

/// Renders to the end of the stage or of the block, whichever comes first; returns the number of frames.
u32 ADSR::RenderSegment(const float* levels, float* out, u32 frames) {
    if (state == Attack && attackStage.inc >= 1.0F) {
        // An attack within one frame goes to the top at once.
        out[0] = current = 1.0F;
        FinishStage();
        return 1;
    }
    const u32 timed = WithRunningStage(
        [&](const EnvelopeStage& stage, auto level) { return RunToEnd(stage, level, levels, out, frames); });
    if (timed > 0) {
        return timed;
    }
    if (state == Sustain) {
        std::transform(levels, levels + frames, out, ClampToUnit);
        current = levels[frames - 1];
    } else {
        std::fill_n(out, frames, 0.0F);
    }
    return frames;
}

template <class Level>
u32 ADSR::RunToEnd(const EnvelopeStage& stage, Level level, const float* levels, float* out, u32 frames) {
    const bool linear = stage.IsLinear();
    float p = phase;
    float sample = 0.0F;
    u32 n = 0;
    do {
        sample = level(linear ? p : stage.Bend(p), levels[n]);
        out[n++] = ClampToUnit(sample);
        p += stage.inc;
    } while (n < frames && p < 1.0F);
    // A release stays anchored to the level at which it began.
    if (state != Release) {
        current = sample;
    }
    phase = p;
    if (p >= 1.0F) {
        FinishStage();
    }
    return n;
}

void ADSR::FinishStage() {
    phase = 0.0F;
    if (state == Attack) {
        state = Decay;
    } else if (state == Decay) {
        state = skipsSustain ? Release : Sustain;
    } else {
        state = Idle;
    }
}

void ADSR::WriteOutputParameters() {
    parameters[outState].SetValue(static_cast<float>(state));
    parameters[outStatePhase].SetValue(phase);
}

} // namespace Velmora::dsp
