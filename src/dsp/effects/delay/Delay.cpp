// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/delay/Delay.h"

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
    entry.Prepare(sampleRate);
    for (SplineDelayLine& line : lines) {
        line.Allocate(static_cast<u32>(controls.LongestDelay()) + 1);
    }
    linesUsed = false;
}

void Delay::OnReset(bool /*hard*/) {
    entry.Reset();
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
    controls.StepTimes();
    Float4 next = controls.Times();
    const float depth = controls[Controls::Wow].value[Controls::WowSamples];
    if (depth != 0.0F) {
        const Float4 sides{0.0F, 0.25F, 0.0F, 0.0F};
        const Float4 cycle = wow.Value(fluttering, sides, 0.0F);
        next += depth * (cyclicShare * cycle + (1.0F - cyclicShare) * wow.Drift(0.0F));
    }
    delays.Advance(next, controls.LongestDelay());
    wow.Advance(wowHz);
}

bool Delay::IsAtRest() const {
    return lines[0].IsSilent() && lines[1].IsSilent() && cuts.IsAtRest() && entry.IsOver() &&
           !controls.IsMoving();
}

/// What StepDelays does besides the delays themselves.
void Delay::Swing(u32 quads) {
    for (u32 quad = 0; quad < quads; ++quad) {
        controls.StepTimes();
    }
    wow.Advance(wowHz, quads);
}

bool Delay::Process(ProcessContext& context) {
    if (IsAtRest() && IsSilent(context)) {
        RenderSilence(context, [this](u32 quads) { Swing(quads); });
        return true;
    }
    linesUsed = linesUsed || context.numFrames != 0;
    RenderStereoQuads(context, controls,
                      [this](auto moving, StereoQuad& sound) { RenderQuad<moving.value>(sound); });
    return true;
}

template <bool moving>
void Delay::RenderQuad(StereoQuad& sound) {
    StereoQuad echoes{lines[0].ReadTap(delays.Over(0)), lines[1].ReadTap(delays.Over(1))};
    StepDelays();
    const StereoQuad repeats = cuts.Run(controls[Controls::Cuts].Value(), echoes);
    WriteLines<moving>(entry.Next(sound), repeats);
    const SmoothedLanes& mix = controls[Controls::Mix];
    sound = sound * mix.Over<moving>(Controls::Dry) +
            echoes.Crossed(mix.Over<moving>(Controls::WetDirect), mix.Over<moving>(Controls::WetOther));
}

template <bool moving>
void Delay::WriteLines(const StereoQuad& sound, const StereoQuad& repeats) {
    const SmoothedLanes& ways = controls[Controls::Entry];
    const SmoothedLanes& loop = controls[Controls::Loop];
    const StereoQuad entering{sound.left * ways.Over<moving>(Controls::LeftToLeft) +
                                  sound.right * ways.Over<moving>(Controls::RightToLeft),
                              sound.right * ways.Over<moving>(Controls::RightToRight)};
    const StereoQuad tape = entering + repeats.Crossed(loop.Over<moving>(Controls::FeedbackDirect),
                                                       loop.Over<moving>(Controls::FeedbackOther));
    const Float4 bend = loop.Over<moving>(Controls::InverseCeiling);
    const auto record = [&](Float4 x) { return WithoutTail(SoftCeiling(Saturate(x, bend))); };
    lines[0].Write(record(tape.left));
    lines[1].Write(record(tape.right));
}

} // namespace Velmora::dsp
