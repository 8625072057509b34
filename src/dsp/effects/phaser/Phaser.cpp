// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/phaser/Phaser.h"

#include "dsp/effects/shared/StartingParam.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/math/CornerAngle.h"
#include "dsp/math/SyncRates.h"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = PhaserControls;
using Limits = PhaserSettings;
using Sweep = SweepLfoSettings;

std::vector<ModuleParam> Records() {
    using namespace StartingParam;
    std::vector<ModuleParam> records = {
        Linear("DryWet", 0.0F, 1.0F, 0.5F),
        Logarithmic("Freq", 40.0F, 12000.0F, 700.0F),
        Linear("Feedback", -Limits::mostFeedback, Limits::mostFeedback, 0.35F),
        Stepped("Stages", Limits::mostPairs, 2.0F, 2.0F, 6.0F),
        Linear("Spread", 0.0F, 6.0F, 1.5F),
        Linear("Depth", 0.0F, 4.0F, 1.5F),
        Logarithmic("LFOFreq", 0.02F, Sweep::fastestHz, 0.3F),
        Stepped("LFOShape", Sweep::shapeCount, 0.0F, 1.0F, 0.0F),
        Stepped("TempoSync", 2, 0.0F, 1.0F, 0.0F),
        Stepped("SyncRate", SyncRates::count, 0.0F, 1.0F, 5.0F),
        Linear("LFOPhase", 0.0F, 330.0F, 0.0F),
        Linear("StereoPhase", 0.0F, 180.0F, 60.0F),
        Linear("StereoOffset", -2.0F, 2.0F, 0.0F),
        FromZero("LFOGlide", Sweep::longestGlideMs, 0.0F),
        Linear("EnvAmount", -4.0F, 4.0F, 0.0F),
        Logarithmic("EnvAttack", 1.0F, 500.0F, 10.0F),
        Logarithmic("EnvRelease", 5.0F, 2000.0F, 150.0F),
        Linear("Drive", 0.0F, 24.0F, 0.0F),
        Logarithmic("LowCut", Limits::lowestCutHz, 2000.0F, Limits::lowestCutHz),
        Logarithmic("HighCut", 500.0F, Limits::highestCutHz, Limits::highestCutHz),
        Linear("CrossFeedback", 0.0F, 1.0F, 0.0F),
        Stepped("Invert", 2, 0.0F, 1.0F, 0.0F),
        Linear("WetGain", -24.0F, 12.0F, 0.0F),
        Stepped("PatternLength", Sweep::mostSteps, 1.0F, 1.0F, 8.0F)};
    constexpr float heights[Sweep::mostSteps] = {-1.0F, 0.25F, -0.5F, 0.75F, -0.75F, 0.5F, -0.25F, 1.0F};
    for (u32 step = 0; step < Sweep::mostSteps; ++step) {
        records.push_back(Linear(("Step" + std::to_string(step + 1)).c_str(), -1.0F, 1.0F, heights[step]));
    }
    return records;
}

} // namespace

Phaser::Phaser(std::string moduleName) : UnitModule(std::move(moduleName), inputCount, 2, Records()) {}

void Phaser::OnInitialize(float rate, u32 /*maxBlockSize*/) {
    sampleRate = rate;
    controls.Prepare(rate);
    sweep.Prepare(rate);
}

void Phaser::OnReset(bool /*hard*/) {
    loop.Clear();
    drive.Reset();
    sweep.Reset();
}

float Phaser::Held(u32 id, float low, float high) { return Within(Value(id), low, high); }

u32 Phaser::Step(u32 id, u32 first, u32 last) {
    return static_cast<u32>(std::lround(Held(id, static_cast<float>(first), static_cast<float>(last))));
}

bool Phaser::UpdateParameters(ProcessContext& context) {
    if (anyParameterChanged || needsUpdate) {
        ReadFixed();
        ReadSweep();
    }
    ReadModulated(context);
    sweep.Apply();
    if (needsUpdate || settings != applied) {
        applied = settings;
        controls.Aim(settings);
    }
    if (needsUpdate) {
        controls.Jump();
        jumps = true;
    }
    return true;
}

void Phaser::ReadFixed() {
    settings.pairs = Step(Stages, 2, 2 * Limits::mostPairs) / 2;
    settings.spread = Held(Spread, 0.0F, Limits::widest);
    settings.depth = Held(Depth, -Limits::widest, Limits::widest);
    settings.stereoOffset = Held(StereoOffset, -Limits::widest, Limits::widest);
    settings.envelopeAmount = Held(EnvAmount, -Limits::widest, Limits::widest);
    settings.driveDb = Held(Drive, 0.0F, Limits::mostDriveDb);
    settings.lowCutHz = Held(LowCut, Limits::lowestCutHz, Limits::highestCutHz);
    settings.highCutHz = Held(HighCut, Limits::lowestHz, Limits::highestCutHz);
    settings.crossFeedback = Held(CrossFeedback, 0.0F, 1.0F);
    settings.inverts = Step(Invert, 0, 1) != 0;
    settings.wetGainDb = Held(WetGain, -60.0F, 24.0F);
}

void Phaser::ReadSweep() {
    constexpr float cyclesPerDegree = 1.0F / 360.0F;
    sweep.SetEnvelopeTimes(Value(EnvAttack), Value(EnvRelease));
    SweepLfoSettings& oscillator = sweep.Oscillator();
    oscillator.shape = Step(LFOShape, 0, Sweep::shapeCount - 1);
    oscillator.phase = Held(LFOPhase, 0.0F, 360.0F) * cyclesPerDegree;
    oscillator.stereoPhase = Held(StereoPhase, -360.0F, 360.0F) * cyclesPerDegree;
    oscillator.glideMs = Held(LFOGlide, 0.0F, Sweep::longestGlideMs);
    oscillator.stepCount = Step(PatternLength, 1, Sweep::mostSteps);
    for (u32 step = 0; step < Sweep::mostSteps; ++step) {
        oscillator.steps[step] = Held(Step1 + step, -1.0F, 1.0F);
    }
}

void Phaser::ReadModulated(const ProcessContext& context) {
    const auto modulated = [this, &context](u32 id, u32 input, float low, float high) {
        return Within(parameters[id].GetModulatedValue(context, input), low, high);
    };
    settings.hz = modulated(Freq, 2, Limits::lowestHz, Limits::highestHz);
    settings.feedback = modulated(Feedback, 3, -Limits::mostFeedback, Limits::mostFeedback);
    settings.mix = modulated(DryWet, 5, 0.0F, 1.0F);
    sweep.SetRate(context, parameters[LFOFreq].GetModulatedValue(context, 4), Step(TempoSync, 0, 1) != 0,
                  Step(SyncRate, 0, SyncRates::count - 1));
}

bool Phaser::IsSwept() const {
    return jumps || controls.IsMoving() || CornerSweep::Moves(controls[Controls::Centres]);
}

bool Phaser::Process(ProcessContext& context) {
    if (IsSwept()) {
        RenderBlock<true>(context);
    } else {
        RenderBlock<false>(context);
    }
    loop.Heal();
    return true;
}

template <bool sweeps>
void Phaser::RenderBlock(ProcessContext& context) {
    const bool isMoving = controls.IsMoving();
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        const StereoQuad dry = StereoQuad::Read(context, n);
        sweep.Advance(dry.left, dry.right);
        if (isMoving) {
            controls.Step();
        }
        if constexpr (sweeps) {
            AimStages();
        }
        FrameQuad<Double2> wet = dry.Frames();
        drive.Run(wet, controls[Controls::Drive]);
        loop.Run<sweeps>(wet, LoopControls());
        dry.MixedWith(StereoQuad::Of(wet), controls[Controls::Mix]).Write(context, n);
    }
}

/// Corners at the end of the quad.
void Phaser::AimStages() {
    SetStageCount();
    const Float4 centres = sweep.Octaves(controls[Controls::Centres]);
    AimGroup(0, Controls::LowOffsets, Controls::LowPresence, centres);
    AimGroup(Float4::size, Controls::HighOffsets, Controls::HighPresence, centres);
    if (jumps) {
        loop.Jump();
        jumps = false;
    }
}

void Phaser::SetStageCount() {
    u32 count = 0;
    for (u32 pair = 0; pair < PhaserLoop::mostPairs; ++pair) {
        const auto& group = controls[pair < 4 ? Controls::LowPresence : Controls::HighPresence];
        if (group.value[pair % 4] != 0.0F || group.start[pair % 4] != 0.0F) {
            count = pair + 1;
        }
    }
    loop.SetCount(count);
}

/// With g the tangent of the angle, c is (g - 1) / (g + 1) and s is 2 sqrt(g) / (g + 1).
void Phaser::AimGroup(u32 firstPair, Controls::Group offsets, Controls::Group presence, Float4 centres) {
    if (firstPair >= loop.Count()) {
        return;
    }
    alignas(16) float rise[2][Float4::size];
    alignas(16) float turn[2][Float4::size];
    for (u32 channel = 0; channel < 2; ++channel) {
        const Float4 octaves = controls[offsets].Value() + centres.get(channel);
        const CornerAngle angle = CornerAngle::Of(octaves, sampleRate);
        const Float4 scale = 2.0F / (angle.sine + angle.cosine);
        (scale * angle.sine).store_aligned(rise[channel]);
        (scale * xsimd::sqrt(angle.sine * angle.cosine)).store_aligned(turn[channel]);
    }
    for (u32 i = 0; i < Float4::size; ++i) {
        const double share = static_cast<double>(controls[presence].value[i]);
        const Double2 c = Lanes(static_cast<double>(rise[0][i]), static_cast<double>(rise[1][i])) - 1.0;
        const Double2 s = Lanes(static_cast<double>(turn[0][i]), static_cast<double>(turn[1][i]));
        loop.AimPair(firstPair + i, 1.0 - share * (1.0 - c), share * s);
    }
}

PhaserLoop::Controls Phaser::LoopControls() const {
    const SmoothedLanes& lanes = controls[Controls::Loop];
    PhaserLoop::Controls quad;
    lanes.Over<true>(Controls::FeedbackDirect).store_unaligned(quad.direct);
    lanes.Over<true>(Controls::FeedbackOther).store_unaligned(quad.other);
    lanes.Over<true>(Controls::LowCut).store_unaligned(quad.lowCut);
    lanes.Over<true>(Controls::HighCut).store_unaligned(quad.highCut);
    return quad;
}

} // namespace Velmora::dsp
