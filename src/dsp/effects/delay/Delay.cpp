// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/delay/Delay.h"

#include "dsp/effects/shared/RenderStereoQuads.h"
#include "dsp/math/SyncRates.h"

#include <algorithm>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = DelayControls;
using Limits = DelaySettings;

/// Of the wow; the flutter runs at eight times this rate.
constexpr float wowHz = 0.8F;
/// The rest of the wow is its random part.
constexpr float cyclicShare = 0.65F;

} // namespace

Delay::Delay(std::string moduleName)
    : EffectUnit(std::move(moduleName), modulationInputs, 2,
                 {Declare::Linear("DryWet", 0.0F, 1.0F, 0.3F),
                  Declare::Exponential("Time", 2.0F, 1000.0F * Limits::longestSeconds, 4.0F, 375.0F),
                  Declare::Switch("DryWetMode"),
                  Declare::Linear("Offset", -Limits::mostOffset, Limits::mostOffset, 0.0F),
                  Declare::Linear("Feedback", 0.0F, 1.0F, 0.35F),
                  Declare::Choice("Mode", Limits::modeCount, Limits::PingPong), Declare::Switch("TempoSync"),
                  Declare::Choice("SyncRate", SyncRates::echoCount, 6.0F),
                  Declare::Exponential("LowCut", LoopCuts::lowestHz, 2000.0F, 4.0F, 100.0F),
                  Declare::Exponential("HighCut", 500.0F, LoopCuts::highestHz, 4.0F, 6000.0F),
                  Declare::Linear("Width", 0.0F, 1.0F, 1.0F),
                  Declare::Exponential("Wow", 0.0F, Limits::widestWowMs, 2.0F, 0.15F),
                  Declare::Linear("Saturation", 0.0F, 1.0F, 0.15F)}) {}

void Delay::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    controls.Prepare(sampleRate);
    wow.Prepare(sampleRate);
    for (SplineDelayLine& line : lines) {
        line.Allocate(static_cast<u32>(controls.LongestDelay()) + 1);
    }
    linesUsed = false;
}

void Delay::OnReset(bool /*hard*/) {
    if (linesUsed) {
        for (SplineDelayLine& line : lines) {
            line.Clear();
        }
        linesUsed = false;
    }
    cuts.Clear();
    wow.Reset();
}

DelaySettings Delay::ReadSettings(const ProcessContext& context) {
    DelaySettings now;
    now.mix = IsOn(DryWetMode) ? 1.0F : HeldValue(DryWet, context);
    now.seconds = EchoSeconds(context);
    now.offset = HeldValue(Offset, context);
    now.lowCutHz = HeldValue(LowCut, context);
    now.highCutHz = HeldValue(HighCut, context);
    now.wowMs = HeldValue(Wow, context);
    now.saturation = HeldValue(Saturation, context);
    now.feedback = HeldValue(Feedback, context);
    now.mode = HeldStep(Mode);
    now.width = HeldValue(Width, context);
    return now;
}

float Delay::EchoSeconds(const ProcessContext& context) {
    const float free = HeldValue(Time, context) * 0.001F;
    if (!IsOn(TempoSync)) {
        return free;
    }
    constexpr float lowestTempo = 1.0F;
    float seconds = SyncRates::EchoSeconds(HeldValue(SyncRate, context), context.tempo, free);
    seconds = std::min(seconds, 60.0F * SyncRates::echoBeats[0] / lowestTempo);
    while (seconds > Limits::longestSeconds) {
        seconds *= 0.5F;
    }
    return seconds;
}

void Delay::StartMotion() {
    StepDelays();
    StepDelays();
}

void Delay::StepDelays() {
    constexpr std::array<float, ChorusLfo::shapeCount> fluttering = {0.0F, 0.0F, 1.0F, 0.0F};
    delays = endDelays;
    controls.StepTimes();
    endDelays = controls.Times();
    const float depth = controls[Controls::Wow].value[Controls::WowSamples];
    if (depth != 0.0F) {
        const Float4 sides{0.0F, 0.25F, 0.0F, 0.0F};
        const Float4 cycle = wow.Value(fluttering, sides, 0.0F);
        endDelays += depth * (cyclicShare * cycle + (1.0F - cyclicShare) * wow.Drift(0.0F));
    }
    endDelays = xsimd::min(xsimd::max(endDelays, Float4(SplineDelayLine::shortestDelay)),
                           Float4(controls.LongestDelay()));
    wow.Advance(wowHz);
}

bool Delay::Process(ProcessContext& context) {
    linesUsed = linesUsed || context.numFrames != 0;
    RenderStereoQuads(context, controls, [this](auto moving, Float4& left, Float4& right) {
        RenderQuad<moving.value>(left, right);
    });
    return true;
}

template <bool moving>
void Delay::RenderQuad(Float4& left, Float4& right) {
    const Float4 quarters{0.25F, 0.5F, 0.75F, 1.0F};
    const auto tap = [&](u32 side) {
        const float from = delays.get(side);
        return lines[side].ReadTap(from + (endDelays.get(side) - from) * quarters);
    };
    Float4 wetLeft = tap(0);
    Float4 wetRight = tap(1);
    StepDelays();
    Float4 loopLeft;
    Float4 loopRight;
    cuts.Run(controls[Controls::Cuts].Value(), wetLeft, wetRight, loopLeft, loopRight);
    WriteLines<moving>(left, right, loopLeft, loopRight);

    const SmoothedLanes& mix = controls[Controls::Mix];
    const Float4 dry = mix.Over<moving>(Controls::Dry);
    const Float4 wetDirect = mix.Over<moving>(Controls::WetDirect);
    const Float4 wetOther = mix.Over<moving>(Controls::WetOther);
    left = left * dry + (wetDirect * wetLeft + wetOther * wetRight);
    right = right * dry + (wetDirect * wetRight + wetOther * wetLeft);
}

template <bool moving>
void Delay::WriteLines(Float4 left, Float4 right, Float4 loopLeft, Float4 loopRight) {
    const SmoothedLanes& entry = controls[Controls::Entry];
    const SmoothedLanes& loop = controls[Controls::Loop];
    const Float4 direct = loop.Over<moving>(Controls::FeedbackDirect);
    const Float4 other = loop.Over<moving>(Controls::FeedbackOther);
    const Float4 bend = loop.Over<moving>(Controls::InverseCeiling);
    const auto record = [&](Float4 x) { return WithoutTail(SoftCeiling(Saturate(x, bend))); };
    const Float4 enteringLeft =
        left * entry.Over<moving>(Controls::LeftToLeft) + right * entry.Over<moving>(Controls::RightToLeft);
    const Float4 enteringRight = right * entry.Over<moving>(Controls::RightToRight);
    lines[0].Write(record(enteringLeft + (direct * loopLeft + other * loopRight)));
    lines[1].Write(record(enteringRight + (direct * loopRight + other * loopLeft)));
}

} // namespace Velmora::dsp
