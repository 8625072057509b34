// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/LFO.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/FastExponential.h"
#include "dsp/math/Xorshift.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::dsp {

namespace {

constexpr float cyclesPerDegree = 0.0027777778F;

std::vector<ModuleParam> ShapeRecords() {
    return RecordsOf({Declare::Choice("Waveform", LFO::WaveformCount), Declare::Raw("Amp", 1.0F),
                      Declare::Raw("Smooth"), Declare::Switch("SmoothRateLinked"), Declare::Raw("Fade"),
                      Declare::Raw("Stereo"), Declare::Linear("StereoSpread", 0.0F, 360.0F),
                      Declare::Choice("SnHStereoMode", 2), Declare::Raw("Unipolar"),
                      Declare::Raw("CurrentPhaseFeedback"),
                      Declare::Linear("CurrentValueLFeedback", -1.0F, 1.0F)});
}

float FiniteOrZero(float x) { return std::isfinite(x) ? x : 0.0F; }

template <class Step, class Shape>
void RenderShape(const Step* steps, float* out, u32 frames, float offset, Shape&& shape) {
    for (u32 i = 0; i < frames; ++i) {
        const float position = steps[i].phase + offset;
        out[i] = shape(position - std::floor(position));
    }
}

} // namespace

LFO::LFO(std::string moduleName)
    : CycleGenerator(std::move(moduleName), 3, maxChannels, ShapeRecords()), rngState(Xorshift::ClockSeed()) {
}

void LFO::Seed(u32 seed) {
    rngState = Xorshift::UsableState(seed);
    DrawHeldValues();
}

void LFO::OnInitialize(float rate, u32 maxBlockSize) {
    CycleGenerator::OnInitialize(rate, maxBlockSize);
    blockSize = maxBlockSize;
    PrepareRunLength();
}

/// Smoothers and fade count in steps.
void LFO::PrepareRunLength() {
    const u32 framesPerStep = Value(ControlRate) >= 0.5F ? blockSize : 1;
    fadeRunLength = static_cast<float>(framesPerStep);
    for (SmootherLPF& smoother : smoothers) {
        smoother.Prepare(sampleRate, framesPerStep);
    }
}

void LFO::OnReset(bool hard) {
    CycleGenerator::OnReset(hard);
    for (SmootherLPF& smoother : smoothers) {
        smoother.Reset(0.0F, 0.0F);
    }
    DrawHeldValues();
    snhArmed = false;
}

void LFO::Retrigger() {
    CycleGenerator::Retrigger();
    DrawHeldValues();
    fadeValue = Value(Fade) > 0.0F ? 0.0F : 1.0F;
}

void LFO::DrawHeldValues() { snh[0] = snh[1] = Draw(); }

/// 2^-32 scales the state to 0..1.
float LFO::Draw() {
    rngState = Xorshift::Next(rngState);
    return 2.0F * (static_cast<float>(rngState) * 2.3283064e-10F) - 1.0F;
}

bool LFO::UpdateParameters(ProcessContext& context) {
    CycleGenerator::UpdateParameters(context);
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(ControlRate)) {
        PrepareRunLength();
    }
    if (Changed(Stereo)) {
        shape.channels = Value(Stereo) > 0.5F ? 2 : 1;
    }
    if (Changed(Waveform)) {
        shape.waveform = ToIndex(Value(Waveform), WaveformCount);
    }
    if (Changed(SnHStereoMode)) {
        shape.snhMode = ToIndex(Value(SnHStereoMode), 2);
    }
    if (Changed(Smooth) || Changed(SmoothRateLinked)) {
        shape.smoothLinked = Value(SmoothRateLinked) > 0.5F;
        if (!shape.smoothLinked) {
            SetSmoothTime(Value(Smooth));
        }
    }
    if (Changed(Fade) || Changed(ControlRate)) {
        const float seconds = Value(Fade);
        if (seconds > 0.0F) {
            fadeStep = fadeRunLength / (seconds * sampleRate);
        } else {
            fadeValue = 1.0F;
        }
    }
    if (Changed(Unipolar)) {
        shape.unipolar = Value(Unipolar) > 0.5F;
    }
    return true;
}

/// What is not above 0 switches smoothing off.
void LFO::SetSmoothTime(float seconds) {
    smoothOn = seconds > 0.0F;
    const double time = smoothOn ? std::max(static_cast<double>(seconds), 1e-12) : 1e-12;
    for (SmootherLPF& smoother : smoothers) {
        if (smoother.time != time) {
            smoother.time = time;
            smoother.Prepare();
        }
    }
}

/// Synced rates are bars of four beats.
void LFO::LinkSmoothTime() {
    const float rate = steps[0].rate;
    SetSmoothTime(Value(Smooth) / (cycle.synced ? 0.004166667F / rate * tempo : rate));
}

void LFO::Render(const ProcessContext& context) {
    const u32 channelCount = std::min(shape.channels, context.numOutputs);
    const u32 frames = context.numFrames;
    if (channelCount == 0) {
        return;
    }
    if (!NeedsOutput()) {
        AdvanceFade(frames);
        return;
    }
    const float amplitude = FiniteOrZero(parameters[Amp].GetModulatedValue(context, amplitudeInput));
    if (shape.smoothLinked) {
        LinkSmoothTime();
    }
    const float offset = PhaseOffset(context);
    if (shape.waveform == SampleAndHold) {
        RenderSampleAndHold(context, channelCount);
    } else {
        for (u32 channel = 0; channel < channelCount; ++channel) {
            RenderWave(context.outputs[channel], frames, channel == 0 ? offset : Spread() + offset);
        }
    }
    for (u32 channel = 0; channel < channelCount; ++channel) {
        FinishChannel(context.outputs[channel], frames, amplitude, smoothers[channel]);
    }
    AdvanceFade(frames);
    // Straight into the records: what a block reports is no change of a parameter.
    parameters[CurrentPhaseFeedback].SetValue(Fold(offset + steps[0].phase));
    parameters[CurrentValueLFeedback].SetValue(context.outputs[0][0]);
}

/// What is held or smoothed comes from the blocks before.
bool LFO::NeedsOutput() const {
    return isHeard || smoothOn || shape.smoothLinked || shape.waveform == SampleAndHold;
}

void LFO::AdvanceFade(u32 frames) {
    if (fadeValue < 1.0F) {
        fadeValue += static_cast<float>(frames) * fadeStep;
    }
}

/// In cycles, not below 0.
float LFO::PhaseOffset(const ProcessContext& context) {
    if (context.ActiveModulation(phaseInput) == nullptr) {
        return 0.0F;
    }
    const float moved = parameters[PhaseInit].GetModulatedValue(context, phaseInput) - Value(PhaseInit);
    return FiniteOrZero(moved * cyclesPerDegree + 1.0F);
}

/// Of the second channel, in cycles.
float LFO::Spread() { return FiniteOrZero(Value(StereoSpread) * cyclesPerDegree); }

void LFO::RenderWave(float* out, u32 frames, float offset) const {
    const Step* from = steps.data();
    switch (shape.waveform) {
    case Sine:
        RenderShape(from, out, frames, offset, [](float x) { return std::sin(x * 6.2831855F); });
        break;
    case Triangle:
        RenderShape(from, out, frames, offset, [](float x) {
            const float ramp = 4.0F * x;
            return x < 0.25F ? ramp : x < 0.75F ? 2.0F - ramp : ramp - 4.0F;
        });
        break;
    case FallingSaw:
        RenderShape(from, out, frames, offset, [](float x) { return (1.0F - x) - x; });
        break;
    case RisingSaw:
        RenderShape(from, out, frames, offset, [](float x) { return 2.0F * x - 1.0F; });
        break;
    default:
        RenderShape(from, out, frames, offset, [](float x) { return x < 0.5F ? 1.0F : -1.0F; });
        break;
    }
}

/// Frame by frame through both channels: the second follows the first within the block.
void LFO::RenderSampleAndHold(const ProcessContext& context, u32 channelCount) {
    const float delay = channelCount > 1 ? 2.0F * Spread() : 0.0F;
    for (u32 i = 0; i < context.numFrames; ++i) {
        const bool trigger = steps[i].trigger;
        snhPrevious = snh[0];
        if (trigger) {
            snh[0] = Draw();
            snhArmed = false;
            if (shape.snhMode == 1) {
                snh[1] = -snh[0];
            }
        }
        context.outputs[0][i] = snh[0];
        if (channelCount > 1) {
            if (shape.snhMode == 0) {
                FollowDelayed(steps[i].phase, delay, trigger);
            }
            context.outputs[1][i] = snh[1];
        }
    }
}

/// The second channel repeats the first one, delay cycles later. A delay within one step is none, and a
/// whole cycle is the most there is.
void LFO::FollowDelayed(float phase, float delay, bool trigger) {
    const float step = std::fmod(phase + 1.0F - lastPhase, 1.0F);
    if (delay <= step || delay >= 1.0F) {
        if (trigger) {
            snh[1] = delay >= 1.0F ? snhPrevious : snh[0];
            snhArmed = false;
        }
    } else if (std::clamp(1.0F - delay, 0.0F, 1.0F) + phase >= 1.0F && !snhArmed) {
        snh[1] = snhPrevious;
        snhArmed = true;
    }
    lastPhase = phase;
}

void LFO::FinishChannel(float* out, u32 frames, float amplitude, SmootherLPF& smoother) const {
    for (u32 i = 0; i < frames; ++i) {
        const float sample = shape.unipolar ? (out[i] + 1.0F) * 0.5F : out[i];
        out[i] = sample * amplitude;
    }
    if (smoothOn) {
        for (u32 i = 0; i < frames; ++i) {
            smoother.SetTarget(out[i]);
            out[i] = smoother.Next();
        }
    }
    if (fadeValue < 1.0F) {
        for (u32 i = 0; i < frames; ++i) {
            // The fade may end within the block; from there the curve would go on to grow.
            const float position = static_cast<float>(i) * fadeStep + fadeValue;
            if (position < 1.0F) {
                out[i] *= (FastExp(position * 10.0F) - 1.0F) / 22025.5F;
            }
        }
    }
}

} // namespace Velmora::dsp
