// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/preamps/CarrierPreamp.h"

#include "vocoder/core/preamps/AudioInput.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

/// Half the corner in radians per second: 15.9 and 17.5 Hz.
constexpr double stage1HalfCorner = 49.998447;
constexpr double stage2HalfCorner = 54.946457;
constexpr double inputGain = 2.8;
constexpr double stage2Gain = -10.0;
constexpr double supplyVolts = 13.5;

/// gains: one per channel.
template <class Input, class Output, class T, class... Gain>
void Filter(Input input, Output output, u32 numFrames, dsp::BasicFirstOrderSection<T>& stage1,
            dsp::BasicFirstOrderSection<T>& stage2, Gain... gains) {
    dsp::BasicFirstOrderSection<T> first = stage1;
    dsp::BasicFirstOrderSection<T> second = stage2;
    const auto runFirst = [&](T x) { return first.Tick(inputGain * x, dsp::Lanes(gains()...)); };
    const auto runSecond = [&](T x) {
        second.y1 = dsp::ClipLanes(second.Tick(x, T(stage2Gain)), -supplyVolts, supplyVolts);
        return second.y1;
    };
    dsp::ForEachFrame(input, output, numFrames, runFirst, runSecond);
    stage1 = first;
    stage2 = second;
}

} // namespace

CarrierPreamp::CarrierPreamp(std::string moduleName)
    : UnitModule(std::move(moduleName), 2, 1,
                 {dsp::ModuleParam::Mapped("CarrierLevel", 4, -75.0F, 0.0F, -3.0F)}) {}

void CarrierPreamp::OnInitialize(float sampleRate, u32 maxBlockSize) {
    stage1.SetHighPass(std::tan(stage1HalfCorner / static_cast<double>(sampleRate)));
    stage2.SetHighPass(std::tan(stage2HalfCorner / static_cast<double>(sampleRate)));
    gainSmoother.Prepare(sampleRate, 1);
    overload.Initialize(sampleRate, maxBlockSize);
}

void CarrierPreamp::OnReset(bool /*hard*/) {
    // The gain stays: the next update snaps it.
    stage1.Reset();
    stage2.Reset();
    overload.Reset();
}

bool CarrierPreamp::UpdateParameters(dsp::ProcessContext& context) {
    const float level = parameters[CarrierLevel].GetModulatedValue(context, 1);
    AimSmoother(gainSmoother, levelGain.Of(level), needsUpdate);
    return true;
}

bool CarrierPreamp::Process(dsp::ProcessContext& context) {
    float* block = context.outputs[0];
    const u32 numFrames = context.numFrames;
    CopyAudioInput(context.inputs[0], block, numFrames);
    WithSmoothedGain(gainSmoother, [&](auto gain) {
        Filter(dsp::SoloInput{block}, dsp::SoloOutput{block}, numFrames, stage1, stage2, gain);
    });
    Finish(block, numFrames);
    return true;
}

void CarrierPreamp::ProcessPair(CarrierPreamp& left, dsp::ProcessContext& leftContext, CarrierPreamp& right,
                                dsp::ProcessContext& rightContext) {
    float* leftBlock = leftContext.outputs[0];
    float* rightBlock = rightContext.outputs[0];
    const u32 numFrames = leftContext.numFrames;
    CopyAudioInput(leftContext.inputs[0], leftBlock, numFrames);
    CopyAudioInput(rightContext.inputs[0], rightBlock, numFrames);
    dsp::FirstOrderPair first = Join(left.stage1, right.stage1);
    dsp::FirstOrderPair second = Join(left.stage2, right.stage2);
    WithSmoothedGains(left.gainSmoother, right.gainSmoother, [&](auto leftGain, auto rightGain) {
        Filter(dsp::PairInput{leftBlock, rightBlock}, dsp::PairOutput{leftBlock, rightBlock}, numFrames,
               first, second, leftGain, rightGain);
    });
    SplitState(first, left.stage1, right.stage1);
    SplitState(second, left.stage2, right.stage2);
    left.Finish(leftBlock, numFrames);
    right.Finish(rightBlock, numFrames);
}

void CarrierPreamp::Finish(float* block, u32 numFrames) {
    const bool firstBlown = stage1.Heal();
    const bool secondBlown = stage2.Heal();
    if (firstBlown || secondBlown) {
        std::fill_n(block, numFrames, 0.0F);
    }
    overload.Update(block, numFrames);
}

} // namespace Velmora::Processor
