// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/preamps/Preamp.h"

#include "vocoder/core/preamps/AudioInput.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

constexpr double highPassHz = 4.8;
constexpr double highPassQ = 0.32;
constexpr double inputGain = 2.8;
constexpr double stageGain = 17.529;

/// gains: one per channel.
template <class Input, class Output, class T, class... Gain>
void Filter(Input input, Output output, u32 numFrames, dsp::BasicBiquadSection<T>& highPass, Gain... gains) {
    dsp::BasicBiquadSection<T> section = highPass;
    dsp::ForEachFrame(input, output, numFrames,
                      [&](T x) { return section.Tick(inputGain * x, stageGain * dsp::Lanes(gains()...)); });
    highPass = section;
}

} // namespace

Preamp::Preamp(std::string moduleName)
    : UnitModule(std::move(moduleName), 2, 1,
                 {dsp::ModuleParam::Mapped("ProgramLevel", 4, -75.0F, 0.0F, -3.0F)}) {}

void Preamp::OnInitialize(float sampleRate, u32 maxBlockSize) {
    const double w = highPassHz * 6.2831855 / static_cast<double>(sampleRate);
    highPass.SetHighPass(w, std::sin(w) * (0.5 / highPassQ));
    gainSmoother.Prepare(sampleRate, 1);
    overload.Initialize(sampleRate, maxBlockSize);
}

void Preamp::OnReset(bool /*hard*/) {
    // The gain stays: the next update snaps it.
    highPass.Reset();
    overload.Reset();
}

bool Preamp::UpdateParameters(dsp::ProcessContext& context) {
    const float level = parameters[ProgramLevel].GetModulatedValue(context, 1);
    AimSmoother(gainSmoother, levelGain.Of(level), needsUpdate);
    return true;
}

bool Preamp::Process(dsp::ProcessContext& context) {
    float* block = context.outputs[0];
    const u32 numFrames = context.numFrames;
    CopyAudioInput(context.inputs[0], block, numFrames);
    WithSmoothedGain(gainSmoother, [&](auto gain) {
        Filter(dsp::SoloInput{block}, dsp::SoloOutput{block}, numFrames, highPass, gain);
    });
    Finish(block, numFrames);
    return true;
}

void Preamp::ProcessPair(Preamp& left, dsp::ProcessContext& leftContext, Preamp& right,
                         dsp::ProcessContext& rightContext) {
    float* leftBlock = leftContext.outputs[0];
    float* rightBlock = rightContext.outputs[0];
    const u32 numFrames = leftContext.numFrames;
    CopyAudioInput(leftContext.inputs[0], leftBlock, numFrames);
    CopyAudioInput(rightContext.inputs[0], rightBlock, numFrames);
    dsp::BiquadPair section = Join(left.highPass, right.highPass);
    WithSmoothedGains(left.gainSmoother, right.gainSmoother, [&](auto leftGain, auto rightGain) {
        Filter(dsp::PairInput{leftBlock, rightBlock}, dsp::PairOutput{leftBlock, rightBlock}, numFrames,
               section, leftGain, rightGain);
    });
    SplitState(section, left.highPass, right.highPass);
    left.Finish(leftBlock, numFrames);
    right.Finish(rightBlock, numFrames);
}

void Preamp::Finish(float* block, u32 numFrames) {
    if (highPass.Heal()) {
        std::fill_n(block, numFrames, 0.0F);
    }
    overload.Update(block, numFrames);
}

} // namespace Velmora::Processor
