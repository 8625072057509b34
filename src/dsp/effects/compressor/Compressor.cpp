// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/compressor/Compressor.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/Decibels.h"
#include "dsp/vectors/SilenceFaults.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;

constexpr double smoothingSeconds = 0.02;
/// A line before the approach, without which that would begin with an edge.
constexpr float setOutSeconds = 0.005F;
/// A little above 10 ms, so that rounding does not cost the last sample of the longest lookahead.
constexpr float longestLookaheadSeconds = 0.010000001F;
/// Deeper than any level above any threshold.
constexpr float noReductionLimit = 1000.0F;
constexpr float displayedReduction = 40.0F;

std::vector<ModuleParam> Records() {
    using namespace Declare;
    return RecordsOf({Raw("ConfOnlyComputeGain", 1.0F),
                      Linear("Wet", 0.0F, 1.0F),
                      Linear("InGainCompensated", -36.0F, 36.0F, 0.0F),
                      Linear("InputGain", -18.0F, 18.0F, 0.0F),
                      Linear("OutputGain", -36.0F, 36.0F),
                      Exponential("Attack", 0.01F, 1000.0F, 10.0F),
                      Exponential("Release", 1.0F, 2000.0F, 3.0F),
                      Linear("Threshold", -80.0F, 0.0F),
                      Exponential("Ratio", 1.0F, 100.0F, 9.0F),
                      Switch("RatioInfinite"),
                      Linear("KneeWidth", 0.0F, 20.0F),
                      Switch("Makeup"),
                      Switch("StereoMode"),
                      Linear("OutGainReduction", 0.0F, 1.0F),
                      Switch("LevelMeasureSmoothAR"),
                      Linear("LevelMeasureAtMs", 0.01F, 1000.0F, 0.1F),
                      Linear("LevelMeasureReMs", 0.01F, 1000.0F, 0.1F),
                      Switch("LookaheadEnable"),
                      Exponential("LookaheadTimeMs", 0.01F, 10.0F, 3.0F),
                      Switch("ConfStereo"),
                      Switch("SideChain"),
                      Switch("GRLimitEnable"),
                      Linear("GRLimit", -140.0F, 0.0F)});
}

/// The larger magnitude of each frame, times its gain.
void Measure(const float* firstInput, const float* secondInput, const float* gains, float* out, u32 frames) {
    for (u32 n = 0; n < frames; n += 4) {
        const Float4 first = xsimd::abs(SilenceFaults(firstInput + n));
        const Float4 second = xsimd::abs(SilenceFaults(secondInput + n));
        (xsimd::max(first, second) * Float4::load_aligned(gains + n)).store_aligned(out + n);
    }
}

/// Replaces the gains by w * through * gain + (1 - w).
void MixWet(float* gains, const float* wet, const float* through, u32 frames) {
    for (u32 n = 0; n < frames; n += 4) {
        const Float4 w = Float4::load_aligned(wet + n);
        const Float4 wetGain = Float4::load_aligned(gains + n) * Float4::load_aligned(through + n);
        (w * wetGain + (Float4(1.0F) - w)).store_aligned(gains + n);
    }
}

void Render(SmootherInterpLPF& smoother, float target, float* out, u32 frames) {
    if (static_cast<double>(target) != smoother.target) {
        smoother.SetTarget(target);
    }
    if (smoother.IsAtTarget()) {
        std::fill_n(out, frames, target);
    } else {
        smoother.RenderBlock(out, frames);
    }
}

} // namespace

Compressor::Compressor(std::string moduleName)
    : DynamicsModuleInterface(std::move(moduleName), inputCount, 2, Records()) {
    for (SmootherLPF* smoother : {&inputGain, &throughGain, &inverseRatio, &threshold}) {
        smoother->time = smoothingSeconds;
    }
    // Its only reading without a modulation input: it may run backwards all the same.
    OnChange(Attack, [this] { envelope.SetAttack(Acting(Attack, ProcessContext{}, 0), sampleRate); });
    OnChange(LevelMeasureAtMs, [this] { levelEnvelope.SetAttack(Value(LevelMeasureAtMs), sampleRate); });
    OnChange(LevelMeasureReMs, [this] { levelEnvelope.SetRelease(Value(LevelMeasureReMs), sampleRate); });
}

void Compressor::OnInitialize(float rateHz, u32 maxBlockSize) {
    sampleRate = std::max(1.0F, rateHz);
    longestLookahead = static_cast<u32>(sampleRate * longestLookaheadSeconds);
    lookahead = std::min(lookahead, longestLookahead);
    for (SmootherInterpLPF* smoother : {&inputGain, &throughGain, &inverseRatio, &threshold}) {
        smoother->SetInterpSteps(static_cast<u32>(sampleRate * setOutSeconds));
        smoother->Prepare(sampleRate, 1);
    }
    for (Channel& channel : channels) {
        channel.gain.SetLongestDelay(longestLookahead);
        channel.audio.SetLongestDelay(longestLookahead);
    }
    buffers.Allocate(BufferCount, maxBlockSize);
}

void Compressor::OnReset(bool /*hard*/) {
    const ProcessContext unmodulated;
    UpdateSettings();
    inputGain.Set(inputGainTarget);
    inverseRatio.Set(InverseRatioTarget(unmodulated));
    threshold.Set(Acting(Threshold, unmodulated, ThresholdInput));
    throughGain.Set(ThroughGainTarget());
    wet.Set(Acting(Wet, unmodulated, WetInput));
    SetParameterNormalized(OutGainReduction, 0.0F);
    ClearChannels();
}

void Compressor::ClearChannels() {
    for (Channel& channel : channels) {
        channel.level = channel.reduction = 0.0;
    }
    ClearRings();
}

void Compressor::ClearRings() {
    for (Channel& channel : channels) {
        channel.gain.Clear();
        channel.audio.Clear();
    }
}

bool Compressor::UpdateParameters(ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    RunChangeCallbacks();
    UpdateSettings();
    if (Changed(LookaheadEnable) || Changed(LookaheadTimeMs)) {
        UpdateLookahead();
    }
    return true;
}

void Compressor::UpdateSettings() {
    isStereo = IsOn(ConfStereo);
    isLinked = IsOn(StereoMode);
    ratioIsInfinite = IsOn(RatioInfinite);
    hasMakeup = IsOn(Makeup);
    smoothsLevel = IsOn(LevelMeasureSmoothAR);
    usesSideChain = IsOn(SideChain);
    curve = GainComputer(HeldValue(KneeWidth));
    inputGainTarget = BoundedDecibelsToGain(Value(InGainCompensated) + Value(InputGain));
    bothGainsTarget = inputGainTarget * BoundedDecibelsToGain(Value(OutputGain) - Value(InGainCompensated));
    deepestReduction = IsOn(GRLimitEnable) ? -HeldValue(GRLimit) : noReductionLimit;
}

/// The rings rest while there is no lookahead: what they held then must not sound later.
void Compressor::UpdateLookahead() {
    const float samples = IsOn(LookaheadEnable) ? Value(LookaheadTimeMs) * sampleRate * 0.001F : 0.0F;
    const u32 wanted = static_cast<u32>(Within(samples, 0.0F, static_cast<float>(longestLookahead)));
    const bool starts = lookahead == 0 && wanted > 0;
    if (starts || (!needsUpdate && Changed(LookaheadEnable))) {
        ClearRings();
    }
    lookahead = wanted;
}

float Compressor::ThroughGainTarget() const {
    const auto inverse = static_cast<float>(inverseRatio.current);
    return bothGainsTarget *
           (hasMakeup ? curve.Makeup(static_cast<float>(threshold.current), inverse) : 1.0F);
}

float Compressor::InverseRatioTarget(const ProcessContext& context) {
    return ratioIsInfinite ? 0.0F : 1.0F / Acting(Ratio, context, RatioInput);
}

float Compressor::Acting(u32 id, const ProcessContext& context, u32 inputIndex) {
    return parameters[id].Hold(parameters[id].GetActingValue(context, inputIndex));
}

void Compressor::ComputeGain(ProcessContext& context) {
    const float* left = context.InputOrNull(Left);
    const float* right = context.InputOrNull(Right);
    const u32 outputCount = std::min(context.numOutputs, 2U);
    if (left == nullptr) {
        ClearChannels();
        for (u32 c = 0; c < outputCount; ++c) {
            std::fill_n(context.outputs[c], context.numFrames, 0.0F);
        }
        return;
    }
    takesStereo = isStereo && right != nullptr;
    SetComputedChannels(takesStereo && !isLinked ? 2 : 1);
    RenderGains(context);
    // The left output comes last, since it may lie in the buffer that both outputs are made from.
    if (outputCount > 1) {
        ApplyGains(right != nullptr ? right : left, buffers[computedChannels - 1], context.outputs[1],
                   context.numFrames, channels[1]);
    }
    if (outputCount > 0) {
        ApplyGains(left, buffers[0], context.outputs[0], context.numFrames, channels[0]);
    }
}

void Compressor::SetComputedChannels(u32 count) {
    if (count > computedChannels) {
        channels[1].level = channels[0].level;
        channels[1].reduction = channels[0].reduction;
        channels[1].gain = channels[0].gain;
    }
    computedChannels = count;
}

void Compressor::RenderGains(const ProcessContext& context) {
    const u32 frames = context.numFrames;
    RenderControls(context);
    envelope.SetRelease(Acting(Release, context, ReleaseInput), sampleRate);
    for (u32 c = 0; c < computedChannels; ++c) {
        Channel& channel = channels[c];
        float* values = buffers[c];
        const Detector detector = DetectorOf(context, c);
        Measure(detector.first, detector.second, buffers[InputGains], values, frames);
        if (smoothsLevel) {
            levelEnvelope.Follow(values, frames, channel.level);
        }
        curve.LevelsToReductions(values, buffers[Thresholds], buffers[InverseRatios], frames);
        envelope.Follow(values, frames, channel.reduction);
        GainComputer::ReductionsToGains(values, frames, deepestReduction);
        if (lookahead > 0) {
            channel.gain.Delay(values, frames, lookahead);
        }
        MixWet(values, buffers[WetRamp], buffers[ThroughGains], frames);
    }
}

void Compressor::RenderControls(const ProcessContext& context) {
    const u32 frames = context.numFrames;
    wet.Render(Acting(Wet, context, WetInput), buffers[WetRamp], frames);
    Render(threshold, Acting(Threshold, context, ThresholdInput), buffers[Thresholds], frames);
    Render(inverseRatio, InverseRatioTarget(context), buffers[InverseRatios], frames);
    Render(inputGain, inputGainTarget, buffers[InputGains], frames);
    Render(throughGain, ThroughGainTarget(), buffers[ThroughGains], frames);
}

Compressor::Detector Compressor::DetectorOf(const ProcessContext& context, u32 channel) const {
    const float* key = usesSideChain ? context.InputOrNull(KeyLeft) : nullptr;
    if (key != nullptr) {
        const float* right = takesStereo ? context.InputOrNull(KeyRight) : nullptr;
        return {key, right != nullptr ? right : key};
    }
    if (takesStereo && isLinked) {
        return {context.inputs[Left], context.inputs[Right]};
    }
    return {context.inputs[channel], context.inputs[channel]};
}

void Compressor::ApplyGains(const float* in, const float* gains, float* out, u32 frames,
                            Channel& channel) const {
    if (lookahead > 0) {
        for (u32 n = 0; n < frames; ++n) {
            channel.audio.Push(SilenceFaults(in[n]));
            out[n] = channel.audio.Back(lookahead + 1) * gains[n];
        }
        return;
    }
    for (u32 n = 0; n < frames; n += 4) {
        (SilenceFaults(in + n) * Float4::load_aligned(gains + n)).store_unaligned(out + n);
    }
}

void Compressor::FinishBlock(ProcessContext& /*context*/) {
    const double deepest =
        computedChannels > 1 ? std::max(channels[0].reduction, channels[1].reduction) : channels[0].reduction;
    const float reduction = std::min(static_cast<float>(deepest), deepestReduction);
    SetParameterNormalized(OutGainReduction, Within(reduction / displayedReduction, 0.0F, 1.0F));
}

} // namespace Velmora::dsp
