// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/chorus/Chorus.h"

#include "dsp/effects/shared/FeedbackLimits.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/math/SyncRates.h"
#include "dsp/vectors/Simd.h"
#include "dsp/vectors/TransposeRows.h"

#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = ChorusControls;
using Limits = ChorusSettings;

/// 36 dB above full scale; no real signal gets there. Bounds the loop whatever the modulation does.
constexpr float feedbackCeiling = 64.0F;

} // namespace

Chorus::Chorus(std::string moduleName)
    : EffectUnit(std::move(moduleName), modulationInputs, 2,
                 {Declare::Linear("DryWet", 0.0F, 1.0F, 0.5F),
                  Declare::Exponential("Delay", 0.6F, 40.0F, 2.0F, 8.0F),
                  Declare::Exponential("Depth", 0.0F, 20.0F, 2.0F, 2.0F),
                  Declare::Exponential("Freq", 0.05F, 10.0F, 4.0F, 0.5F),
                  Declare::Linear("Feedback", -Limits::mostFeedback, Limits::mostFeedback, 0.0F),
                  Declare::Linear("Width", 0.0F, 1.0F, 1.0F),
                  Declare::Choice("StereoMode", Limits::stereoModeCount, Limits::Wide),
                  Declare::Steps("Voices", Limits::mostVoices, 1.0F, 1.0F, 3.0F),
                  Declare::Choice("LFOShape", ChorusLfo::shapeCount), Declare::Switch("TempoSync"),
                  Declare::Choice("SyncRate", SyncRates::count, 5.0F),
                  Declare::Exponential("LowCut", Limits::lowestCutHz, 2000.0F, 4.0F, Limits::lowestCutHz),
                  Declare::Exponential("HighCut", 500.0F, Limits::highestCutHz, 4.0F, Limits::highestCutHz),
                  Declare::Linear("Spread", 0.0F, 1.0F, 0.0F), Declare::Linear("Drift", 0.0F, 1.0F, 0.0F),
                  Declare::Linear("WetGain", -24.0F, 12.0F, 0.0F)}) {}

void Chorus::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    controls.Prepare(sampleRate);
    lfo.Prepare(sampleRate);
    song.Prepare(sampleRate);
    entry.Prepare(sampleRate);
    for (Channel& channel : channels) {
        channel.line.Allocate(static_cast<u32>(controls.LongestDelay()) + 1);
    }
}

void Chorus::OnReset(bool /*hard*/) {
    entry.Reset();
    for (Channel& channel : channels) {
        channel.line.Clear();
    }
    highCutState = lowCutState = Float4(0.0F);
    lfo.Reset();
    song.Reset();
}

ChorusSettings Chorus::ReadSettings(const ProcessContext& context) {
    ChorusSettings now;
    now.mix = HeldValue(DryWet, context);
    now.delayMs = HeldValue(Delay, context);
    now.depthMs = HeldValue(Depth, context);
    now.rateHz = CycleHz({Freq, TempoSync, SyncRate}, Limits::fastestHz, context);
    now.feedback = HeldValue(Feedback, context);
    now.width = HeldValue(Width, context);
    now.stereoMode = HeldStep(StereoMode);
    now.voices = HeldStep(Voices);
    now.shape = HeldStep(LFOShape);
    now.lowCutHz = HeldValue(LowCut, context);
    now.highCutHz = HeldValue(HighCut, context);
    now.spread = HeldValue(Spread, context);
    now.drift = HeldValue(Drift, context);
    now.wetGainDb = HeldValue(WetGain, context);
    return now;
}

void Chorus::FollowSong(const ProcessContext& context) {
    FollowCycle(song, {Freq, TempoSync, SyncRate}, settings.rateHz, context);
}

void Chorus::StartMotion() {
    StepDelays();
    StepDelays();
}

void Chorus::StepDelays() {
    const SmoothedLanes& motion = controls[Controls::Motion];
    const float longest = controls.LongestDelay();
    channels[0].delays.Advance(TapDelays(Controls::LeftOffsets, 0.0F), longest);
    channels[1].delays.Advance(TapDelays(Controls::RightOffsets, motion.value[Controls::RandomShift]),
                               longest);
    Swing(1);
}

void Chorus::Swing(u32 quads) {
    const float hz = controls[Controls::Motion].value[Controls::RateHz];
    lfo.Advance(song.Advance(hz, Limits::fastestHz, quads), quads);
}

Float4 Chorus::TapDelays(Controls::Group offsets, float randomShift) const {
    const auto& motion = controls[Controls::Motion].value;
    const Float4 cycle = lfo.Value(controls[Controls::Shapes].value, controls[offsets].Value(), randomShift);
    Float4 delays = controls[Controls::Centres].Value() + motion[Controls::DepthSamples] * cycle;
    if (motion[Controls::DriftSamples] != 0.0F) {
        delays += motion[Controls::DriftSamples] * lfo.Drift(randomShift);
    }
    return delays;
}

bool Chorus::IsAtRest() const {
    return channels[0].line.IsSilent() && channels[1].line.IsSilent() && entry.IsOver() &&
           !controls.IsMoving() && xsimd::all(highCutState == Float4(0.0F) && lowCutState == Float4(0.0F));
}

bool Chorus::Process(ProcessContext& context) {
    if (IsAtRest() && IsSilent(context)) {
        RenderSilence(context, [this](u32 quads) { Swing(quads); });
        return true;
    }
    RenderStereoQuads(context, controls,
                      [this](auto moving, StereoQuad& sound) { RenderQuad<moving.value>(sound); });
    return true;
}

template <bool moving>
void Chorus::RenderQuad(StereoQuad& sound) {
    StereoQuad wet{ReadVoices<moving>(channels[0]), ReadVoices<moving>(channels[1])};
    StepDelays();
    FilterWet(wet);

    const SmoothedLanes& loop = controls[Controls::Loop];
    const StereoQuad feedback =
        wet.Crossed(loop.Over<moving>(Controls::FeedbackDirect), loop.Over<moving>(Controls::FeedbackOther));
    const auto enter = [](Float4 dry, Float4 fed) {
        const Float4 held = xsimd::min(xsimd::max(fed, Float4(-feedbackCeiling)), Float4(feedbackCeiling));
        return WithoutTail(dry + held);
    };
    const StereoQuad entering = entry.Next(sound);
    channels[0].line.Write(enter(entering.left, feedback.left));
    channels[1].line.Write(enter(entering.right, feedback.right));

    const SmoothedLanes& mix = controls[Controls::Mix];
    sound = sound * mix.Over<moving>(Controls::Dry) +
            wet.Crossed(mix.Over<moving>(Controls::WetDirect), mix.Over<moving>(Controls::WetOther));
}

/// The mean of the voices in the four frames of the quad, over which the delays go straight to their end.
template <bool moving>
Float4 Chorus::ReadVoices(const Channel& channel) const {
    const SmoothedLanes& gains = controls[Controls::VoiceGains];
    const auto& [start, end] = channel.delays;
    const Float4 way = end - start;
    // Frames of voices become voices of frames.
    Float4 delays[] = {start + way * 0.25F, start + way * 0.5F, start + way * 0.75F, end};
    TransposeRows(delays[0], delays[1], delays[2], delays[3]);
    Float4 mean(0.0F);
    for (u32 voice = 0; voice < Limits::mostVoices; ++voice) {
        if (gains.value[voice] != 0.0F || gains.start[voice] != 0.0F) {
            mean += gains.Over<moving>(voice) * channel.line.ReadTap(delays[voice]);
        }
    }
    return mean;
}

void Chorus::FilterWet(StereoQuad& wet) {
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
    TransposeRows(wet.left, wet.right, third, fourth);
    filter(wet.left);
    filter(wet.right);
    filter(third);
    filter(fourth);
    TransposeRows(wet.left, wet.right, third, fourth);
    highCutState = WithoutTail(high);
    lowCutState = WithoutTail(low);
}

} // namespace Velmora::dsp
