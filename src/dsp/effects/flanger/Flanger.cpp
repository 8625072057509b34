// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/flanger/Flanger.h"

#include "dsp/effects/shared/EffectRecords.h"
#include "dsp/effects/shared/RenderStereoQuads.h"
#include "dsp/math/SyncRates.h"
#include "dsp/math/Within.h"

#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = FlangerControls;
using Limits = FlangerSettings;

constexpr float degreesPerCycle = 360.0F;
constexpr u32 dryLane = 2;

std::vector<ModuleParam> Records() {
    using namespace EffectRecords;
    return {Choice("DryWetMode", 2, 0.0F),
            Linear("DryWet", 0.0F, 1.0F, 0.5F),
            Exponential("Delay", 0.3F, Limits::longestDelayMs, 3.0F, 2.2F),
            Exponential("Depth", 0.0F, Limits::deepestMs, 3.0F, 1.7F),
            Exponential("Freq", 0.02F, Limits::fastestHz, 5.0F, 0.2F),
            Linear("Feedback", -Limits::mostFeedback, Limits::mostFeedback, 0.4F),
            Choice("LFOShape", Limits::shapeCount, Limits::Sine),
            Linear("StereoPhase", 0.0F, 0.5F * degreesPerCycle, 90.0F),
            Choice("TempoSync", 2, 0.0F),
            Choice("SyncRate", SyncRates::count, 3.0F),
            Choice("ThroughZero", 2, 0.0F),
            Exponential("LowCut", LoopCuts::lowestHz, 2000.0F, 4.0F, LoopCuts::lowestHz),
            Exponential("HighCut", 500.0F, LoopCuts::highestHz, 4.0F, LoopCuts::highestHz),
            Linear("Width", 0.0F, 1.0F, 1.0F),
            Choice("Invert", 2, 0.0F),
            Linear("Manual", -Limits::widestManualMs, Limits::widestManualMs, 0.0F),
            Linear("Drive", 0.0F, 1.0F, 0.0F),
            Linear("WetGain", -24.0F, 12.0F, 0.0F)};
}

} // namespace

Flanger::Flanger(std::string moduleName) : UnitModule(std::move(moduleName), 5, 2, Records()) {}

void Flanger::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    controls.Prepare(sampleRate);
    lfo.Prepare(sampleRate);
    const auto longest = static_cast<u32>(controls.LongestDelay()) + 1;
    for (Channel& channel : channels) {
        channel.wet.Allocate(longest);
        channel.dry.Allocate(longest);
    }
}

void Flanger::OnReset(bool /*hard*/) {
    for (Channel& channel : channels) {
        channel.wet.Clear();
        channel.dry.Clear();
    }
    cuts.Clear();
    lfo.Reset();
}

float Flanger::Held(u32 id, float low, float high) { return Within(SilenceFaults(Value(id)), low, high); }

u32 Flanger::Step(u32 id, u32 count) { return ToIndex(Value(id) + 0.5F, count); }

bool Flanger::UpdateParameters(ProcessContext& context) {
    FlangerSettings now = settings;
    if (anyParameterChanged || needsUpdate) {
        ReadFixed(now);
    }
    ReadModulated(now, context);
    if (needsUpdate || now != settings) {
        settings = now;
        controls.Aim(settings);
    }
    FollowSong(context);
    if (needsUpdate) {
        controls.Jump();
        StepDelays();
        StepDelays();
    }
    return true;
}

void Flanger::ReadFixed(FlangerSettings& into) {
    into.delayMs = Held(Delay, 0.0F, Limits::longestDelayMs);
    into.feedback = Held(Feedback, -Limits::mostFeedback, Limits::mostFeedback);
    into.shape = Step(LFOShape, Limits::shapeCount);
    into.stereoPhase = Held(StereoPhase, 0.0F, degreesPerCycle) / degreesPerCycle;
    into.throughZero = Step(ThroughZero, 2) != 0;
    into.inverted = Step(Invert, 2) != 0;
    into.lowCutHz = Held(LowCut, LoopCuts::lowestHz, LoopCuts::highestHz);
    into.highCutHz = Held(HighCut, LoopCuts::lowestHz, LoopCuts::highestHz);
    into.width = Held(Width, 0.0F, 1.0F);
    into.drive = Held(Drive, 0.0F, 1.0F);
    into.wetGainDb = Held(WetGain, -60.0F, 24.0F);
}

void Flanger::ReadModulated(FlangerSettings& into, const ProcessContext& context) {
    const auto modulated = [&](u32 id, u32 input, float low, float high) {
        return Within(SilenceFaults(parameters[id].GetModulatedValue(context, input)), low, high);
    };
    const float mix = modulated(DryWet, 2, 0.0F, 1.0F);
    into.mix = Step(DryWetMode, 2) == 0 ? mix : 1.0F;
    into.manualMs = modulated(Manual, 3, -Limits::widestManualMs, Limits::widestManualMs);
    into.depthMs = modulated(Depth, 4, 0.0F, Limits::deepestMs);
    into.rateHz = Within(Rate(context), 0.0F, Limits::fastestHz);
}

float Flanger::Rate(const ProcessContext& context) {
    const float free = Value(Freq);
    return Step(TempoSync, 2) != 0 ? SyncRates::CycleHz(Value(SyncRate) + 0.5F, context.tempo, free) : free;
}

void Flanger::FollowSong(const ProcessContext& context) {
    if (context.isPlaying != 0 && Step(TempoSync, 2) != 0 && SyncRates::IsTempo(context.tempo)) {
        lfo.Follow(SyncRates::CyclePhase(Value(SyncRate) + 0.5F, context.songPosition), settings.rateHz);
    } else {
        lfo.Release();
    }
}

void Flanger::StepDelays() {
    const auto& motion = controls[Controls::Motion].value;
    const auto& hand = controls[Controls::Hand].value;
    const Float4 wet{1.0F, 1.0F, 0.0F, 0.0F};
    delays = endDelays;
    const Float4 swing = hand[Controls::ManualSamples] + motion[Controls::DepthSamples] * lfo.Value(controls);
    endDelays = motion[Controls::BaseSamples] + wet * swing;
    endDelays = xsimd::min(xsimd::max(endDelays, Float4(SplineDelayLine::shortestDelay)),
                           Float4(controls.LongestDelay()));
    lfo.Advance(motion[Controls::RateHz]);
}

bool Flanger::Process(ProcessContext& context) {
    RenderStereoQuads(context, controls, [this](auto moving, Float4& left, Float4& right) {
        RenderQuad<moving.value>(left, right);
    });
    return true;
}

template <bool moving>
void Flanger::RenderQuad(Float4& left, Float4& right) {
    const Float4 quarters{0.25F, 0.5F, 0.75F, 1.0F};
    const auto tap = [&](u32 side) {
        const float from = delays.get(side);
        return channels[side].wet.ReadTap(from + (endDelays.get(side) - from) * quarters);
    };
    Float4 wetLeft = tap(0);
    Float4 wetRight = tap(1);
    const Float4 dryLeft = DrySound<moving>(0, left);
    const Float4 dryRight = DrySound<moving>(1, right);
    StepDelays();
    Float4 loopLeft;
    Float4 loopRight;
    cuts.Run(controls[Controls::Cuts].Value(), wetLeft, wetRight, loopLeft, loopRight);

    const SmoothedLanes& loop = controls[Controls::Loop];
    const Float4 feedback = loop.Over<moving>(Controls::Feedback);
    const Float4 bend = loop.Over<moving>(Controls::InverseCeiling);
    const auto enter = [&](Float4 x) { return WithoutTail(SoftCeiling(Saturate(x, bend))); };
    channels[0].wet.Write(enter(left + feedback * loopLeft));
    channels[1].wet.Write(enter(right + feedback * loopRight));
    channels[0].dry.Write(left);
    channels[1].dry.Write(right);

    const SmoothedLanes& mix = controls[Controls::Mix];
    const Float4 wetDirect = mix.Over<moving>(Controls::WetDirect);
    const Float4 wetOther = mix.Over<moving>(Controls::WetOther);
    left = dryLeft + (wetDirect * wetLeft + wetOther * wetRight);
    right = dryRight + (wetDirect * wetRight + wetOther * wetLeft);
}

/// The dry share of the output, from the input itself and from its line.
template <bool moving>
Float4 Flanger::DrySound(u32 side, Float4 input) const {
    const Float4 quarters{0.25F, 0.5F, 0.75F, 1.0F};
    const SmoothedLanes& mix = controls[Controls::Mix];
    Float4 dry = input * mix.Over<moving>(Controls::DryAtOnce);
    if (mix.start[Controls::DryLate] != 0.0F || mix.value[Controls::DryLate] != 0.0F) {
        const float from = delays.get(dryLane);
        const Float4 late = channels[side].dry.ReadTap(from + (endDelays.get(dryLane) - from) * quarters);
        dry += mix.Over<moving>(Controls::DryLate) * late;
    }
    return dry;
}

} // namespace Velmora::dsp
