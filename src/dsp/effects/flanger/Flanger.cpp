// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/flanger/Flanger.h"

#include "dsp/effects/shared/FeedbackLimits.h"
#include "dsp/math/SyncRates.h"
#include "dsp/math/Within.h"

#include <algorithm>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = FlangerControls;
using Limits = FlangerSettings;

constexpr float degreesPerCycle = 360.0F;
constexpr u32 dryLane = 2;

} // namespace

Flanger::Flanger(std::string moduleName)
    : EffectUnit(
          std::move(moduleName), modulationInputs, 2,
          {Declare::Switch("DryWetMode"), Declare::Linear("DryWet", 0.0F, 1.0F, 0.5F),
           Declare::Exponential("Delay", 0.3F, Limits::longestDelayMs, 3.0F, 2.2F),
           Declare::Exponential("Depth", 0.0F, Limits::deepestMs, 3.0F, 1.7F),
           Declare::Exponential("Freq", 0.02F, Limits::fastestHz, 5.0F, 0.2F),
           Declare::Linear("Feedback", -Limits::mostFeedback, Limits::mostFeedback, 0.4F),
           Declare::Choice("LFOShape", Limits::shapeCount, Limits::Sine),
           Declare::Linear("StereoPhase", 0.0F, 0.5F * degreesPerCycle, 90.0F), Declare::Switch("TempoSync"),
           Declare::Choice("SyncRate", SyncRates::count, 3.0F), Declare::Switch("ThroughZero"),
           Declare::Exponential("LowCut", LoopCuts::lowestHz, 2000.0F, 4.0F, LoopCuts::lowestHz),
           Declare::Exponential("HighCut", 500.0F, LoopCuts::highestHz, 4.0F, LoopCuts::highestHz),
           Declare::Linear("Width", 0.0F, 1.0F, 1.0F), Declare::Switch("Invert"),
           Declare::Linear("Manual", -Limits::widestManualMs, Limits::widestManualMs, 0.0F),
           Declare::Linear("Drive", 0.0F, 1.0F, 0.0F), Declare::Linear("WetGain", -24.0F, 12.0F, 0.0F)}) {}

void Flanger::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    controls.Prepare(sampleRate);
    lfo.Prepare(sampleRate);
    entry.Prepare(sampleRate);
    const auto longest = static_cast<u32>(controls.LongestDelay()) + 1;
    for (Channel& channel : channels) {
        channel.wet.Allocate(longest);
        channel.dry.Allocate(longest);
    }
}

void Flanger::OnReset(bool /*hard*/) {
    entry.Reset();
    for (Channel& channel : channels) {
        channel.wet.Clear();
        channel.dry.Clear();
    }
    cuts.Clear();
    lfo.Reset();
}

FlangerSettings Flanger::ReadSettings(const ProcessContext& context) {
    FlangerSettings now;
    now.mix = IsOn(DryWetMode) ? 1.0F : HeldValue(DryWet, context);
    now.delayMs = HeldValue(Delay, context);
    now.depthMs = HeldValue(Depth, context);
    now.manualMs = HeldValue(Manual, context);
    now.rateHz = CycleHz({Freq, TempoSync, SyncRate}, Limits::fastestHz, context);
    now.feedback = HeldValue(Feedback, context);
    now.shape = HeldStep(LFOShape);
    now.stereoPhase = HeldValue(StereoPhase, context) / degreesPerCycle;
    now.throughZero = IsOn(ThroughZero);
    now.inverted = IsOn(Invert);
    now.lowCutHz = HeldValue(LowCut, context);
    now.highCutHz = HeldValue(HighCut, context);
    now.width = HeldValue(Width, context);
    now.drive = HeldValue(Drive, context);
    now.wetGainDb = HeldValue(WetGain, context);
    return now;
}

void Flanger::FollowSong(const ProcessContext& context) {
    FollowCycle(lfo.song, {Freq, TempoSync, SyncRate}, settings.rateHz, context);
}

void Flanger::StartMotion() {
    StepDelays();
    StepDelays();
}

void Flanger::StepDelays() {
    const auto& motion = controls[Controls::Motion].value;
    const auto& hand = controls[Controls::Hand].value;
    const Float4 wet{1.0F, 1.0F, 0.0F, 0.0F};
    const Float4 swing = hand[Controls::ManualSamples] + motion[Controls::DepthSamples] * lfo.Value(controls);
    delays.Advance(motion[Controls::BaseSamples] + wet * swing, controls.LongestDelay());
    Swing(1);
}

void Flanger::Swing(u32 quads) { lfo.Advance(controls[Controls::Motion].value[Controls::RateHz], quads); }

bool Flanger::IsAtRest() const {
    const bool isSilent = std::all_of(channels.begin(), channels.end(), [](const Channel& channel) {
        return channel.wet.IsSilent() && channel.dry.IsSilent();
    });
    return isSilent && cuts.IsAtRest() && entry.IsOver() && !controls.IsMoving();
}

bool Flanger::Process(ProcessContext& context) {
    if (IsAtRest() && IsSilent(context)) {
        RenderSilence(context, [this](u32 quads) { Swing(quads); });
        return true;
    }
    RenderStereoQuads(context, controls,
                      [this](auto moving, StereoQuad& sound) { RenderQuad<moving.value>(sound); });
    return true;
}

template <bool moving>
void Flanger::RenderQuad(StereoQuad& sound) {
    StereoQuad wet{channels[0].wet.ReadTap(delays.Over(0)), channels[1].wet.ReadTap(delays.Over(1))};
    const StereoQuad dry{DrySound<moving>(0, sound.left), DrySound<moving>(1, sound.right)};
    StepDelays();
    const StereoQuad entering = entry.Next(sound);
    const StereoQuad tape = entering + cuts.Run(controls[Controls::Cuts].Value(), wet) *
                                           controls[Controls::Loop].Over<moving>(Controls::Feedback);
    const Float4 bend = controls[Controls::Loop].Over<moving>(Controls::InverseCeiling);
    const auto enter = [&](Float4 x) { return WithoutTail(SoftCeiling(Saturate(x, bend))); };
    channels[0].wet.Write(enter(tape.left));
    channels[1].wet.Write(enter(tape.right));
    channels[0].dry.Write(entering.left);
    channels[1].dry.Write(entering.right);

    const SmoothedLanes& mix = controls[Controls::Mix];
    sound = dry + wet.Crossed(mix.Over<moving>(Controls::WetDirect), mix.Over<moving>(Controls::WetOther));
}

/// The dry share of the output, from the input itself and from its line.
template <bool moving>
Float4 Flanger::DrySound(u32 side, Float4 input) const {
    const SmoothedLanes& mix = controls[Controls::Mix];
    Float4 dry = input * mix.Over<moving>(Controls::DryAtOnce);
    if (mix.start[Controls::DryLate] != 0.0F || mix.value[Controls::DryLate] != 0.0F) {
        dry += mix.Over<moving>(Controls::DryLate) * channels[side].dry.ReadTap(delays.Over(dryLane));
    }
    return dry;
}

} // namespace Velmora::dsp
