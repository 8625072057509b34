// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/chorus/Chorus.h"

#include "dsp/effects/shared/RenderStereoQuads.h"
#include "dsp/math/SyncRates.h"
#include "dsp/vectors/SilenceFaults.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = ChorusControls;
using Limits = ChorusSettings;

/// 36 dB above full scale; no real signal gets there. Bounds the loop whatever the modulation does.
constexpr float feedbackCeiling = 64.0F;

ModuleParam Starting(ModuleParam param, float value) {
    param.SetValue(value);
    return param;
}

std::vector<ModuleParam> Records() {
    constexpr i32 linear = 1;
    constexpr i32 exponential = 4;
    const auto mapped = [](const char* parameterName, i32 kind, float low, float high, float shape,
                           float start) {
        return Starting(ModuleParam::Mapped(parameterName, kind, low, high, shape), start);
    };
    const auto stepped = [](const char* parameterName, u32 count, float first, float start) {
        return Starting(ModuleParam::Stepped(parameterName, count, first, 1.0F), start);
    };
    return {mapped("DryWet", linear, 0.0F, 1.0F, 1.0F, 0.5F),
            mapped("Delay", exponential, 0.6F, 40.0F, 2.0F, 8.0F),
            mapped("Depth", exponential, 0.0F, 20.0F, 2.0F, 2.0F),
            mapped("Freq", exponential, 0.05F, 10.0F, 4.0F, 0.5F),
            mapped("Feedback", linear, -Limits::mostFeedback, Limits::mostFeedback, 1.0F, 0.0F),
            mapped("Width", linear, 0.0F, 1.0F, 1.0F, 1.0F),
            stepped("StereoMode", Limits::stereoModeCount, 0.0F, 1.0F),
            stepped("Voices", Limits::mostVoices, 1.0F, 3.0F),
            stepped("LFOShape", ChorusLfo::shapeCount, 0.0F, 0.0F),
            stepped("TempoSync", 2, 0.0F, 0.0F),
            stepped("SyncRate", SyncRates::count, 0.0F, 5.0F),
            mapped("LowCut", exponential, Limits::lowestCutHz, 2000.0F, 4.0F, Limits::lowestCutHz),
            mapped("HighCut", exponential, 500.0F, Limits::highestCutHz, 4.0F, Limits::highestCutHz),
            mapped("Spread", linear, 0.0F, 1.0F, 1.0F, 0.0F),
            mapped("Drift", linear, 0.0F, 1.0F, 1.0F, 0.0F),
            mapped("WetGain", linear, -24.0F, 12.0F, 1.0F, 0.0F)};
}

/// What is not a number becomes 0, or what lies next to it.
float Hold(float value, float low, float high) {
    return std::clamp(std::isnan(value) ? 0.0F : value, low, high);
}

Float4 Hold(Float4 value, Float4 low, Float4 high) { return xsimd::min(xsimd::max(value, low), high); }

} // namespace

Chorus::Chorus(std::string moduleName) : UnitModule(std::move(moduleName), 5, 2, Records()) {}

void Chorus::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    controls.Prepare(sampleRate);
    lfo.Prepare(sampleRate);
    for (Channel& channel : channels) {
        channel.line.Allocate(static_cast<u32>(controls.LongestDelay()) + 1);
    }
}

void Chorus::OnReset(bool /*hard*/) {
    for (Channel& channel : channels) {
        channel.line.Clear();
    }
    highCutState = lowCutState = Float4(0.0F);
    lfo.Reset();
}

float Chorus::Held(u32 id, float low, float high) { return Hold(Value(id), low, high); }

u32 Chorus::Step(u32 id, u32 first, u32 last) {
    return static_cast<u32>(std::lround(Held(id, static_cast<float>(first), static_cast<float>(last))));
}

bool Chorus::UpdateParameters(ProcessContext& context) {
    ChorusSettings now = settings;
    if (anyParameterChanged || needsUpdate) {
        ReadFixed(now);
    }
    ReadModulated(now, context);
    if (needsUpdate || now != settings) {
        settings = now;
        controls.Aim(settings);
    }
    if (needsUpdate) {
        controls.Jump();
        StepDelays();
        StepDelays();
    }
    return true;
}

void Chorus::ReadFixed(ChorusSettings& into) {
    into.delayMs = Held(Delay, 0.0F, Limits::longestDelayMs);
    into.feedback = Held(Feedback, -Limits::mostFeedback, Limits::mostFeedback);
    into.width = Held(Width, 0.0F, 1.0F);
    into.stereoMode = Step(StereoMode, 0, Limits::stereoModeCount - 1);
    into.voices = Step(Voices, 1, Limits::mostVoices);
    into.shape = Step(LFOShape, 0, ChorusLfo::shapeCount - 1);
    into.lowCutHz = Held(LowCut, Limits::lowestCutHz, Limits::highestCutHz);
    into.highCutHz = Held(HighCut, Limits::lowestCutHz, Limits::highestCutHz);
    into.spread = Held(Spread, 0.0F, 1.0F);
    into.drift = Held(Drift, 0.0F, 1.0F);
    into.wetGainDb = Held(WetGain, -60.0F, 24.0F);
}

void Chorus::ReadModulated(ChorusSettings& into, const ProcessContext& context) {
    into.mix = Hold(parameters[DryWet].GetModulatedValue(context, 2), 0.0F, 1.0F);
    into.depthMs = Hold(parameters[Depth].GetModulatedValue(context, 3), 0.0F, Limits::deepestMs);
    const float free = parameters[Freq].GetModulatedValue(context, 4);
    const bool synced = Step(TempoSync, 0, 1) != 0;
    const float rate = synced ? SyncRates::CycleHz(std::round(Value(SyncRate)), context.tempo, free) : free;
    into.rateHz = Hold(rate, 0.0F, Limits::fastestHz);
}

void Chorus::StepDelays() {
    const SmoothedLanes& motion = controls[Controls::Motion];
    for (Channel& channel : channels) {
        channel.delays = channel.endDelays;
    }
    channels[0].endDelays = TapDelays(Controls::LeftOffsets, 0.0F);
    channels[1].endDelays = TapDelays(Controls::RightOffsets, motion.value[Controls::RandomShift]);
    lfo.Advance(motion.value[Controls::RateHz]);
}

Float4 Chorus::TapDelays(Controls::Group offsets, float randomShift) const {
    const auto& motion = controls[Controls::Motion].value;
    const Float4 cycle = lfo.Value(controls[Controls::Shapes].value, controls[offsets].Value(), randomShift);
    Float4 delays = controls[Controls::Centres].Value() + motion[Controls::DepthSamples] * cycle;
    if (motion[Controls::DriftSamples] != 0.0F) {
        delays += motion[Controls::DriftSamples] * lfo.Drift(randomShift);
    }
    return Hold(delays, Float4(SplineDelayLine::shortestDelay), Float4(controls.LongestDelay()));
}

bool Chorus::Process(ProcessContext& context) {
    RenderStereoQuads(context, controls, [this](auto moving, Float4& left, Float4& right) {
        RenderQuad<moving.value>(left, right);
    });
    return true;
}

template <bool moving>
void Chorus::RenderQuad(Float4& left, Float4& right) {
    Float4 wetLeft = ReadVoices<moving>(channels[0]);
    Float4 wetRight = ReadVoices<moving>(channels[1]);
    StepDelays();
    FilterWet(wetLeft, wetRight);

    const SmoothedLanes& loop = controls[Controls::Loop];
    const Float4 direct = loop.Over<moving>(Controls::FeedbackDirect);
    const Float4 other = loop.Over<moving>(Controls::FeedbackOther);
    const auto enter = [](Float4 dry, Float4 feedback) {
        return WithoutTail(dry + Hold(feedback, Float4(-feedbackCeiling), Float4(feedbackCeiling)));
    };
    channels[0].line.Write(enter(left, direct * wetLeft + other * wetRight));
    channels[1].line.Write(enter(right, direct * wetRight + other * wetLeft));

    const SmoothedLanes& mix = controls[Controls::Mix];
    const Float4 dry = mix.Over<moving>(Controls::Dry);
    const Float4 wetDirect = mix.Over<moving>(Controls::WetDirect);
    const Float4 wetOther = mix.Over<moving>(Controls::WetOther);
    left = left * dry + (wetDirect * wetLeft + wetOther * wetRight);
    right = right * dry + (wetDirect * wetRight + wetOther * wetLeft);
}

/// The mean of the voices in the four frames of the quad, over which the delays go straight to their end.
template <bool moving>
Float4 Chorus::ReadVoices(const Channel& channel) const {
    const SmoothedLanes& gains = controls[Controls::VoiceGains];
    const Float4 way = channel.endDelays - channel.delays;
    // Frames of voices become voices of frames.
    Float4 delays[] = {channel.delays + way * 0.25F, channel.delays + way * 0.5F,
                       channel.delays + way * 0.75F, channel.endDelays};
    simd::Transpose(delays[0], delays[1], delays[2], delays[3]);
    Float4 mean(0.0F);
    for (u32 voice = 0; voice < Limits::mostVoices; ++voice) {
        if (gains.value[voice] != 0.0F || gains.start[voice] != 0.0F) {
            mean += gains.Over<moving>(voice) * channel.line.ReadTap(delays[voice]);
        }
    }
    return mean;
}

void Chorus::FilterWet(Float4& left, Float4& right) {
    const Float4 lowCut(controls[Controls::Loop].value[Controls::LowCut]);
    const Float4 highCut(controls[Controls::Loop].value[Controls::HighCut]);
    Float4 high = highCutState;
    Float4 low = lowCutState;
    const auto filter = [&](Float4& frame) {
        high += highCut * (frame - high);
        low += lowCut * (high - low);
        frame = high - low;
    };
    // Both channels of a frame side by side.
    Float4 third(0.0F);
    Float4 fourth(0.0F);
    simd::Transpose(left, right, third, fourth);
    filter(left);
    filter(right);
    filter(third);
    filter(fourth);
    simd::Transpose(left, right, third, fourth);
    highCutState = WithoutTail(high);
    lowCutState = WithoutTail(low);
}

} // namespace Velmora::dsp
