// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/delay/Delay.h"

#include "dsp/effects/shared/EffectRecords.h"
#include "dsp/effects/shared/RenderStereoQuads.h"
#include "dsp/math/SyncRates.h"
#include "dsp/math/Within.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = DelayControls;
using Limits = DelaySettings;

constexpr u32 firstModulation = 2;
constexpr u32 inputCount = 10;
/// Of the wow; the flutter runs at eight times this rate.
constexpr float wowHz = 0.8F;
/// The rest of the wow is its random part.
constexpr float cyclicShare = 0.65F;

std::vector<ModuleParam> Records() {
    using namespace EffectRecords;
    return {Linear("DryWet", 0.0F, 1.0F, 0.3F),
            Exponential("Time", 2.0F, 1000.0F * Limits::longestSeconds, 4.0F, 375.0F),
            Choice("DryWetMode", 2, 0.0F),
            Linear("Offset", -Limits::mostOffset, Limits::mostOffset, 0.0F),
            Linear("Feedback", 0.0F, 1.0F, 0.35F),
            Choice("Mode", Limits::modeCount, Limits::PingPong),
            Choice("TempoSync", 2, 0.0F),
            Choice("SyncRate", SyncRates::echoCount, 6.0F),
            Exponential("LowCut", LoopCuts::lowestHz, 2000.0F, 4.0F, 100.0F),
            Exponential("HighCut", 500.0F, LoopCuts::highestHz, 4.0F, 6000.0F),
            Linear("Width", 0.0F, 1.0F, 1.0F),
            Exponential("Wow", 0.0F, Limits::widestWowMs, 2.0F, 0.15F),
            Linear("Saturation", 0.0F, 1.0F, 0.15F)};
}

} // namespace

Delay::Delay(std::string moduleName) : UnitModule(std::move(moduleName), inputCount, 2, Records()) {}

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

bool Delay::UpdateParameters(ProcessContext& context) {
    const bool modulated = modulations.Sees(context, firstModulation, inputCount);
    // A tempo that is not a number differs from itself, which costs a little time and no more.
    if (!anyParameterChanged && !needsUpdate && !modulated && context.tempo == lastTempo) {
        return true;
    }
    lastTempo = context.tempo;
    const DelaySettings now = Read(context);
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

float Delay::Modulated(const ProcessContext& context, u32 id, u32 input) {
    return SoundSample(parameters[id].GetModulatedValue(context, input));
}

DelaySettings Delay::Read(const ProcessContext& context) {
    DelaySettings now;
    const float mix = Within(Modulated(context, DryWet, 2), 0.0F, 1.0F);
    now.mix = ToIndex(Value(DryWetMode) + 0.5F, 2) == 0 ? mix : 1.0F;
    now.seconds = EchoSeconds(context);
    now.offset = Within(Modulated(context, Offset, 4), -Limits::mostOffset, Limits::mostOffset);
    now.lowCutHz = Within(Modulated(context, LowCut, 5), LoopCuts::lowestHz, LoopCuts::highestHz);
    now.highCutHz = Within(Modulated(context, HighCut, 6), LoopCuts::lowestHz, LoopCuts::highestHz);
    now.wowMs = Within(Modulated(context, Wow, 7), 0.0F, Limits::widestWowMs);
    now.saturation = Within(Modulated(context, Saturation, 8), 0.0F, 1.0F);
    now.feedback = Within(Modulated(context, Feedback, 9), 0.0F, 1.0F);
    now.mode = ToIndex(Value(Mode) + 0.5F, Limits::modeCount);
    now.width = Within(Value(Width), 0.0F, 1.0F);
    return now;
}

float Delay::EchoSeconds(const ProcessContext& context) {
    const float free = Within(Modulated(context, Time, 3) * 0.001F, 0.0F, Limits::longestSeconds);
    if (ToIndex(Value(TempoSync) + 0.5F, 2) == 0) {
        return free;
    }
    constexpr float lowestTempo = 1.0F;
    float seconds = SyncRates::EchoSeconds(Value(SyncRate) + 0.5F, context.tempo, free);
    seconds = std::min(seconds, 60.0F * SyncRates::echoBeats[0] / lowestTempo);
    while (seconds > Limits::longestSeconds) {
        seconds *= 0.5F;
    }
    return seconds;
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
