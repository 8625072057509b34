// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/HissBuzzDiscriminator.h"

#include "dsp/CornerLimit.h"

#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

/// The comparator's supplies in volts, and the difference that it does not see.
constexpr float highLevel = 15.0F;
constexpr float lowLevel = -15.0F;
constexpr float deadBand = 0.0001F;
constexpr double highBandGain = 2.0;
constexpr double lowBandGain = 1.5909;

} // namespace

HissBuzzDiscriminator::HissBuzzDiscriminator(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 2,
                 {dsp::ModuleParam::Mapped("FcLP", 1, 1.0F, 24000.0F, 1.0F),
                  dsp::ModuleParam::Mapped("QLP", 1, 0.0F, 2.0F, 1.0F),
                  dsp::ModuleParam::Mapped("FcHP", 1, 1.0F, 24000.0F, 1.0F),
                  dsp::ModuleParam::Mapped("QHP", 1, -20.0F, 2.0F, 1.0F),
                  dsp::ModuleParam("HissBuzzTrimmer")}) {
    SetValue(FcLP, 1833.142F);
    SetValue(QLP, 0.73082F);
    SetValue(FcHP, 1860.4652F);
    SetValue(QHP, 0.72008F);
}

void HissBuzzDiscriminator::OnInitialize(float newSampleRate, u32 maxBlockSize) {
    highFollower.Initialize(newSampleRate, maxBlockSize);
    lowFollower.Initialize(newSampleRate, maxBlockSize);
    sampleRate = newSampleRate;
    buffers.Allocate(4, dsp::RoundUpToFour(maxBlockSize));
    highBand = buffers[0];
    lowBand = buffers[1];
    highEnvelope = buffers[2];
    lowEnvelope = buffers[3];
}

void HissBuzzDiscriminator::OnReset(bool hard) {
    highFollower.Reset(hard);
    lowFollower.Reset(hard);
    highPass.Reset();
    lowPass.Reset();
}

bool HissBuzzDiscriminator::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(HissBuzzTrimmer)) {
        // The trimmer is loaded by the stage behind it: a curve through 0 at the centre.
        const float v = Value(HissBuzzTrimmer);
        trim = (0.070484F - v * 0.140968F) / (v * 0.047232F * (v - 1.0F) - 1.0F);
    }
    const double rate = static_cast<double>(sampleRate);
    if (Changed(FcHP) || Changed(QHP)) {
        const double w = dsp::LimitCorner(static_cast<double>(Value(FcHP)), rate) * 6.2831855 / rate;
        highPass.SetHighPass(w, std::sin(w) * (0.5 / static_cast<double>(Value(QHP))));
    }
    if (Changed(FcLP) || Changed(QLP)) {
        const double w = dsp::LimitCorner(static_cast<double>(Value(FcLP)), rate) * 6.2831855 / rate;
        lowPass.SetLowPass(w, std::sin(w) * (0.5 / static_cast<double>(Value(QLP))));
    }
    return true;
}

bool HissBuzzDiscriminator::Process(dsp::ProcessContext& context) {
    SplitBands(context.inputs[0], context.numFrames);
    RectifierFollowerHissBuzz::RunPair(highFollower, highBand, highEnvelope, lowFollower, lowBand,
                                       lowEnvelope, context.numFrames);
    Decide(context.outputs[0], context.outputs[1], context.numFrames);
    return true;
}

void HissBuzzDiscriminator::SplitBands(const float* input, u32 numFrames) {
    dsp::BiquadSection high = highPass;
    dsp::BiquadSection low = lowPass;
    for (u32 n = 0; n < numFrames; ++n) {
        const double x = static_cast<double>(input[n]);
        highBand[n] = static_cast<float>(high.Tick(x) * highBandGain);
        lowBand[n] = static_cast<float>(low.Tick(x) * lowBandGain);
    }
    highPass = high;
    lowPass = low;
    highPass.Heal();
    lowPass.Heal();
}

void HissBuzzDiscriminator::Decide(float* hissControl, float* buzzControl, u32 numFrames) {
    for (u32 n = 0; n < numFrames; ++n) {
        const float difference = lowEnvelope[n] + trim - highEnvelope[n];
        const float level = difference <= -deadBand ? lowLevel : highLevel;
        hissControl[n] = level;
        buzzControl[n] = -level;
    }
}

} // namespace Velmora::Processor
