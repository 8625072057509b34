// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/phaser/Phaser.h"

#include "dsp/math/CornerAngle.h"

#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = PhaserControls;
using Limits = PhaserSettings;
using Sweep = SweepLfoSettings;

constexpr SweptParameters swept = {.mix = Phaser::DryWet,
                                   .hz = Phaser::Freq,
                                   .stereoOffset = Phaser::StereoOffset,
                                   .swing = Phaser::Depth,
                                   .envelopeSwing = Phaser::EnvAmount,
                                   .drive = Phaser::Drive,
                                   .wetGain = Phaser::WetGain,
                                   .rate = Phaser::LFOFreq,
                                   .shape = Phaser::LFOShape,
                                   .tempoSync = Phaser::TempoSync,
                                   .syncRate = Phaser::SyncRate,
                                   .attack = Phaser::EnvAttack,
                                   .release = Phaser::EnvRelease};

} // namespace

Phaser::Phaser(std::string moduleName)
    : SweptEffect(std::move(moduleName), modulationInputs, 2,
                  {Declare::Linear("DryWet", 0.0F, 1.0F, 0.5F),
                   Declare::Logarithmic("Freq", 40.0F, 12000.0F, 700.0F),
                   Declare::Linear("Feedback", -Limits::mostFeedback, Limits::mostFeedback, 0.35F),
                   Declare::Steps("Stages", Limits::mostPairs, 2.0F, 2.0F, 6.0F),
                   Declare::Linear("Spread", 0.0F, 6.0F, 1.5F),
                   Declare::Linear("Depth", 0.0F, 4.0F, 1.5F),
                   Declare::Logarithmic("LFOFreq", 0.02F, Sweep::fastestHz, 0.3F),
                   Declare::Choice("LFOShape", Sweep::shapeCount),
                   Declare::Switch("TempoSync"),
                   Declare::Choice("SyncRate", SyncRates::count, 5.0F),
                   Declare::Linear("LFOPhase", 0.0F, 330.0F),
                   Declare::Linear("StereoPhase", 0.0F, 180.0F, 60.0F),
                   Declare::Linear("StereoOffset", -2.0F, 2.0F, 0.0F),
                   Declare::Exponential("LFOGlide", 0.0F, Sweep::longestGlideMs, 3.0F),
                   Declare::Linear("EnvAmount", -4.0F, 4.0F, 0.0F),
                   Declare::Logarithmic("EnvAttack", 1.0F, 500.0F, 10.0F),
                   Declare::Logarithmic("EnvRelease", 5.0F, 2000.0F, 150.0F),
                   Declare::Linear("Drive", 0.0F, 24.0F),
                   Declare::Logarithmic("LowCut", Limits::lowestCutHz, 2000.0F, Limits::lowestCutHz),
                   Declare::Logarithmic("HighCut", 500.0F, Limits::highestCutHz, Limits::highestCutHz),
                   Declare::Linear("CrossFeedback", 0.0F, 1.0F),
                   Declare::Switch("Invert"),
                   Declare::Linear("WetGain", -24.0F, 12.0F, 0.0F),
                   Declare::Steps("PatternLength", Sweep::mostSteps, 1.0F, 1.0F, 8.0F),
                   Declare::Linear("Step1", -1.0F, 1.0F, -1.0F),
                   Declare::Linear("Step2", -1.0F, 1.0F, 0.25F),
                   Declare::Linear("Step3", -1.0F, 1.0F, -0.5F),
                   Declare::Linear("Step4", -1.0F, 1.0F, 0.75F),
                   Declare::Linear("Step5", -1.0F, 1.0F, -0.75F),
                   Declare::Linear("Step6", -1.0F, 1.0F, 0.5F),
                   Declare::Linear("Step7", -1.0F, 1.0F, -0.25F),
                   Declare::Linear("Step8", -1.0F, 1.0F, 1.0F)}) {}

PhaserSettings Phaser::ReadSettings(const ProcessContext& context) {
    constexpr float cyclesPerDegree = 1.0F / 360.0F;
    PhaserSettings now;
    ReadSwept(now, swept, context);
    now.feedback = HeldValue(Feedback, context);
    now.pairs = HeldStep(Stages) / 2;
    now.spread = HeldValue(Spread, context);
    now.lowCutHz = HeldValue(LowCut, context);
    now.highCutHz = HeldValue(HighCut, context);
    now.crossFeedback = HeldValue(CrossFeedback, context);
    now.inverts = IsOn(Invert);
    SweepLfoSettings& oscillator = now.sweep.oscillator;
    oscillator.phase = HeldValue(LFOPhase, context) * cyclesPerDegree;
    oscillator.stereoPhase = HeldValue(StereoPhase, context) * cyclesPerDegree;
    oscillator.glideMs = HeldValue(LFOGlide, context);
    oscillator.stepCount = HeldStep(PatternLength);
    for (u32 step = 0; step < Sweep::mostSteps; ++step) {
        oscillator.steps[step] = HeldValue(Step1 + step, context);
    }
    return now;
}

bool Phaser::Process(ProcessContext& context) {
    const bool isSwept = CornerSweep::Moves(controls[Controls::Corners]);
    if (PassesSilence(context, loop.IsAtRest())) {
        if (isSwept && context.numFrames != 0) {
            MoveStages();
            loop.JumpToTargets();
        }
        return true;
    }
    if (IsAboutToJump() || controls.IsMoving() || isSwept) {
        RenderQuads(context, [this](FrameQuad<Double2>& quad) {
            MoveStages();
            loop.Run<true>(quad, LoopControls());
        });
    } else {
        RenderQuads(context, [this](FrameQuad<Double2>& quad) { loop.Run<false>(quad, LoopControls()); });
    }
    loop.Heal();
    return true;
}

/// To where their corners are at the end of the quad.
void Phaser::MoveStages() {
    SetStageCount();
    const Float4 centres = controls.sweep.Octaves(controls[Controls::Corners]);
    MoveGroup(0, Controls::LowOffsets, Controls::LowPresence, centres);
    MoveGroup(Float4::size, Controls::HighOffsets, Controls::HighPresence, centres);
    if (TakesJump()) {
        loop.JumpToTargets();
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
void Phaser::MoveGroup(u32 firstPair, Controls::Group offsets, Controls::Group presence, Float4 centres) {
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
        loop.SetTarget(firstPair + i, 1.0 - share * (1.0 - c), share * s);
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
