// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/ModulatorTone.h"

#include "dsp/framework/RunChild.h"

#include <algorithm>
#include <cmath>

namespace Velmora::Processor {

namespace {

namespace Declare = dsp::Declare;
using dsp::Compressor;
using dsp::ProcessContext;
using Equaliser = ModulatorTone::Equaliser;
using Own = ModulatorParameters;

using Stereo = std::array<float*, 2>;

constexpr float fadeSeconds = 0.05F;

/// A shelf at either end, three bells between.
void SetUp(Equaliser& equaliser) {
    struct Band {
        float mode;
        float lowest;
        float highest;
        dsp::ParameterDeclaration q;
    };
    const auto shelfQ = Declare::Linear({}, 0.1F, 2.0F);
    const auto bellQ = Declare::Exponential({}, 0.1F, 15.0F, 5.0F);
    const std::array bands = {Band{3.0F, 50.0F, 500.0F, shelfQ}, Band{4.0F, 40.0F, 20000.0F, bellQ},
                              Band{4.0F, 40.0F, 20000.0F, bellQ}, Band{4.0F, 40.0F, 20000.0F, bellQ},
                              Band{5.0F, 1000.0F, 10000.0F, shelfQ}};
    for (u32 n = 0; n < bands.size(); ++n) {
        const Band& band = bands[n];
        equaliser.SetParameterNormalized(Equaliser::OnId(n), 1.0F);
        equaliser.SetParameterValue(Equaliser::ModeId(n), band.mode);
        Redeclare(equaliser, Equaliser::CutoffId(n),
                  Declare::Exponential({}, band.lowest, band.highest, 6.0F));
        Redeclare(equaliser, Equaliser::GainId(n), Declare::Linear({}, -15.0F, 15.0F));
        Redeclare(equaliser, Equaliser::QId(n), band.q);
    }
    equaliser.SetParameterNormalized(Equaliser::Stereo, 1.0F);
    // Flat until a host says how much of the gains, which begin at their low ends.
    equaliser.SetParameterNormalized(Equaliser::Scale, 0.0F);
}

/// Threshold and attack run backwards, so that one knob for all, turned up, compresses more.
void SetUp(Compressor& compressor) {
    Redeclare(compressor, Compressor::Threshold, Declare::Linear({}, -40.0F, -10.0F), true);
    Redeclare(compressor, Compressor::Ratio, Declare::Exponential({}, 1.0F, 100.0F, 3.0F));
    Redeclare(compressor, Compressor::Attack, Declare::Linear({}, 0.3F, 15.0F), true);
    Redeclare(compressor, Compressor::Release, Declare::Linear({}, 8.0F, 400.0F));
    Redeclare(
        compressor, Compressor::OutputGain,
        {.name = {}, .curve = dsp::Curve::BipolarExponential, .low = -36.0F, .high = 36.0F, .shape = 2.0F});
    Redeclare(compressor, Compressor::InputGain, Declare::Linear({}, -18.0F, 18.0F, 0.0F));
    Redeclare(compressor, Compressor::KneeWidth, Declare::Linear({}, 0.0F, 50.0F, 35.0F));
    compressor.SetParameterValue(Compressor::Wet, 1.0F);
    compressor.SetParameterValue(Compressor::Makeup, 1.0F);
}

/// From dry to processed as the fade goes from 0 to 1; out may be either.
void Fade(const float* fade, const Stereo& dry, const Stereo& processed, const Stereo& out, u32 frames) {
    for (u32 channel = 0; channel < 2; ++channel) {
        for (u32 n = 0; n < frames; ++n) {
            out[channel][n] = fade[n] * processed[channel][n] + (1.0F - fade[n]) * dry[channel][n];
        }
    }
}

template <class Stage>
void Run(Stage& stage, const ProcessContext& context, const Stereo& from, const Stereo& to) {
    const std::array<const float*, 2> inputs{from[0], from[1]};
    ProcessContext child = context.ForChild(inputs.data(), 2, to.data(), 2);
    dsp::RunChild(stage, child);
}

} // namespace

ModulatorTone::ModulatorTone(Equaliser& parametricEqualiser, Compressor& dynamics, dsp::VuMeter& levelMeter,
                             ModulatorParameters& parameters)
    : equaliser(parametricEqualiser), compressor(dynamics), meter(levelMeter), own(parameters) {
    SetUp(equaliser);
    SetUp(compressor);
}

void ModulatorTone::Initialize(float sampleRate, u32 maxBlockSize) {
    buffers.Allocate(BufferCount, maxBlockSize);
    for (dsp::SmootherSRL* fade : {&equaliserFade, &compressorFade}) {
        fade->time = fadeSeconds;
        fade->sampleRate = sampleRate;
        fade->Prepare();
    }
}

void ModulatorTone::Reset() {
    equaliserFade.Set(own.Position(Own::ParamEQOn));
    compressorFade.Set(own.Position(Own::CompressorOn));
}

void ModulatorTone::FollowControls() {
    FollowSwitch(Own::ParamEQOn, equaliser, equaliserFade);
    FollowSwitch(Own::CompressorOn, compressor, compressorFade);
    if (own.Changed(Own::CompressorAmount)) {
        SetAmount(own.Position(Own::CompressorAmount));
    }
}

/// What is switched on starts with empty filters.
template <class Stage>
void ModulatorTone::FollowSwitch(u32 id, Stage& stage, dsp::SmootherSRL& fade) {
    if (!own.Changed(id)) {
        return;
    }
    const float on = own.Position(id);
    if (on > 0.5F) {
        stage.Reset(false);
    }
    fade.Retarget(on);
}

/// The output gain that goes with one knob for the whole compressor: down, then up again against the loss.
void ModulatorTone::SetAmount(float amount) {
    constexpr std::array decibels = {0.0F, -6.0F, 1.0F, 1.0F};
    const float x = 2.0F * amount;
    const float whole = std::floor(x);
    const auto i = static_cast<u32>(whole);
    const float gain = decibels[i] + (decibels[i + 1] - decibels[i]) * (x - whole);
    compressor.SetParameterValue(Compressor::OutputGain, gain);
}

/// Neither stage runs while it is off and its fade has settled. While the equaliser is active the compressor
/// takes its wet signal, faded or not.
void ModulatorTone::Render(const ProcessContext& context, bool isSilent) {
    const Stereo signal{context.outputs[0], context.outputs[1]};
    const bool equalises = own.IsOn(Own::ParamEQOn) || !equaliserFade.IsAtTarget();
    const bool compresses = own.IsOn(Own::CompressorOn) || !compressorFade.IsAtTarget();
    Measure(context, signal, isSilent);
    if (equalises) {
        Equalise(context, signal, compresses);
    }
    if (compresses) {
        Compress(context, signal, equalises);
    } else {
        compressor.SetParameterNormalized(Compressor::OutGainReduction, 0.0F);
    }
}

void ModulatorTone::Measure(const ProcessContext& context, const Stereo& signal, bool isSilent) {
    const float* mono = nullptr;
    if (!isSilent || !meter.IsAtRest()) {
        mono = buffers[Mono];
        std::transform(signal[0], signal[0] + context.numFrames, signal[1], buffers[Mono],
                       [](float l, float r) { return (l + r) * 0.5F; });
    }
    const std::array<const float*, 1> input{mono};
    ProcessContext child = context.ForChild(input.data(), 1, nullptr, 0);
    dsp::RunChild(meter, child);
}

void ModulatorTone::Equalise(const ProcessContext& context, const Stereo& signal, bool compressorFollows) {
    const Stereo wet = Wet();
    if (equaliserFade.IsAtTarget()) {
        Run(equaliser, context, signal, compressorFollows ? wet : signal);
        return;
    }
    Run(equaliser, context, signal, wet);
    float* fade = buffers[EqualiserFade];
    equaliserFade.RenderBlock(fade, context.numFrames);
    Fade(fade, signal, wet, signal, context.numFrames);
}

void ModulatorTone::Compress(const ProcessContext& context, const Stereo& signal, bool afterEqualiser) {
    const Stereo wet = Wet();
    if (compressorFade.IsAtTarget()) {
        Run(compressor, context, afterEqualiser ? wet : signal, signal);
        return;
    }
    float* fade = buffers[CompressorFade];
    compressorFade.RenderBlock(fade, context.numFrames);
    if (afterEqualiser) {
        Run(compressor, context, wet, signal);
        Fade(fade, wet, signal, signal, context.numFrames);
    } else {
        Run(compressor, context, signal, wet);
        Fade(fade, signal, wet, signal, context.numFrames);
    }
}

} // namespace Velmora::Processor
