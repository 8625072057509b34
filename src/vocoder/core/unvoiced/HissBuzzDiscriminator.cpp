// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/HissBuzzDiscriminator.h"

#include "dsp/math/CornerLimit.h"
#include "dsp/vectors/Simd.h"

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

/// One side of the crossover.
template <class T, class Output>
struct Band {
    dsp::BasicBiquadSection<T> section;
    double gain;
    Output output;

    void StepQuad(dsp::FrameQuad<T> quad, u32 n) {
        dsp::StepFrames(quad, [&](T x) { return section.Tick(x) * gain; });
        output.Store(n, quad);
    }
};

template <class Input, class T, class Output>
void Split(Input input, Band<T, Output>& high, Band<T, Output>& low, u32 numFrames) {
    for (u32 n = 0; n < numFrames; n += 4) {
        const dsp::FrameQuad<T> quad = input.Load(n);
        high.StepQuad(quad, n);
        low.StepQuad(quad, n);
    }
}

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
    Decide(context);
    return true;
}

void HissBuzzDiscriminator::ProcessPair(HissBuzzDiscriminator& left, dsp::ProcessContext& leftContext,
                                        HissBuzzDiscriminator& right, dsp::ProcessContext& rightContext) {
    const u32 numFrames = leftContext.numFrames;
    using PairBand = Band<dsp::Double2, dsp::PairOutput>;
    PairBand high{Join(left.highPass, right.highPass), highBandGain, {left.highBand, right.highBand}};
    PairBand low{Join(left.lowPass, right.lowPass), lowBandGain, {left.lowBand, right.lowBand}};
    Split(dsp::PairInput{leftContext.inputs[0], rightContext.inputs[0]}, high, low, numFrames);
    SplitState(high.section, left.highPass, right.highPass);
    SplitState(low.section, left.lowPass, right.lowPass);
    left.HealSections();
    right.HealSections();
    RectifierFollowerHissBuzz::RunPairs({{left.highFollower, left.highBand, left.highEnvelope},
                                         {right.highFollower, right.highBand, right.highEnvelope}},
                                        {{left.lowFollower, left.lowBand, left.lowEnvelope},
                                         {right.lowFollower, right.lowBand, right.lowEnvelope}},
                                        numFrames);
    left.Decide(leftContext);
    right.Decide(rightContext);
}

void HissBuzzDiscriminator::SplitBands(const float* input, u32 numFrames) {
    using SoloBand = Band<double, dsp::SoloOutput>;
    SoloBand high{highPass, highBandGain, {highBand}};
    SoloBand low{lowPass, lowBandGain, {lowBand}};
    Split(dsp::SoloInput{input}, high, low, numFrames);
    highPass = high.section;
    lowPass = low.section;
    HealSections();
}

void HissBuzzDiscriminator::HealSections() {
    highPass.Heal();
    lowPass.Heal();
}

void HissBuzzDiscriminator::Decide(const dsp::ProcessContext& context) const {
    using dsp::simd::Float4;
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        const Float4 difference =
            Float4::load_unaligned(lowEnvelope + n) + trim - Float4::load_unaligned(highEnvelope + n);
        const auto unvoiced = difference <= -deadBand;
        xsimd::select(unvoiced, Float4(lowLevel), Float4(highLevel)).store_unaligned(context.outputs[0] + n);
        xsimd::select(unvoiced, Float4(highLevel), Float4(lowLevel)).store_unaligned(context.outputs[1] + n);
    }
}

} // namespace Velmora::Processor
