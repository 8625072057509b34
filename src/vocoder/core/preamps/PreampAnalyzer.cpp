// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/preamps/PreampAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

/// The circuit: two equal capacitors in farad, two resistors in ohm.
constexpr double capacitance = 2.2e-08;
constexpr double resistance1 = 20000.0;
constexpr double resistance2 = 39000.0;

template <class Input, class Output, class T>
void Filter(Input input, Output output, u32 numFrames, dsp::BasicBiquadSection<T>& highPass) {
    dsp::BasicBiquadSection<T> section = highPass;
    dsp::ForEachFrame(input, output, numFrames, [&](T x) { return section.Tick(x); });
    highPass = section;
}

} // namespace

PreampAnalyzer::PreampAnalyzer(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 1, std::vector<dsp::ModuleParam>()) {}

void PreampAnalyzer::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    const double meanResistance = std::sqrt(resistance1 * resistance2);
    const double w = 1.0 / (meanResistance * capacitance * static_cast<double>(sampleRate));
    highPass.SetHighPass(w, std::sin(w) / std::sqrt(resistance2 / resistance1));
}

void PreampAnalyzer::OnReset(bool /*hard*/) { highPass.Reset(); }

bool PreampAnalyzer::UpdateParameters(dsp::ProcessContext& /*context*/) { return true; }

bool PreampAnalyzer::Process(dsp::ProcessContext& context) {
    Filter(dsp::SoloInput{context.inputs[0]}, dsp::SoloOutput{context.outputs[0]}, context.numFrames,
           highPass);
    Finish(context.outputs[0], context.numFrames);
    return true;
}

void PreampAnalyzer::ProcessPair(PreampAnalyzer& left, dsp::ProcessContext& leftContext,
                                 PreampAnalyzer& right, dsp::ProcessContext& rightContext) {
    float* leftOutput = leftContext.outputs[0];
    float* rightOutput = rightContext.outputs[0];
    const u32 numFrames = leftContext.numFrames;
    dsp::BiquadPair section = Join(left.highPass, right.highPass);
    Filter(dsp::PairInput{leftContext.inputs[0], rightContext.inputs[0]},
           dsp::PairOutput{leftOutput, rightOutput}, numFrames, section);
    SplitState(section, left.highPass, right.highPass);
    left.Finish(leftOutput, numFrames);
    right.Finish(rightOutput, numFrames);
}

void PreampAnalyzer::Finish(float* output, u32 numFrames) {
    if (highPass.Heal()) {
        std::fill_n(output, numFrames, 0.0F);
    }
}

} // namespace Velmora::Processor
