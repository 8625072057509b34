// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/PreampAnalyzer.h"

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

} // namespace

PreampAnalyzer::PreampAnalyzer(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 1, std::vector<dsp::ModuleParam>()) {}

void PreampAnalyzer::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    const double meanResistance = std::sqrt(resistance1 * resistance2);
    const double w = 1.0 / (meanResistance * capacitance * static_cast<double>(sampleRate));
    highPass.SetHighPass(w, std::sin(w) / std::sqrt(resistance2 / resistance1));
}

void PreampAnalyzer::OnReset(bool /*hard*/) {
    highPass.Reset();
}

bool PreampAnalyzer::UpdateParameters(dsp::ProcessContext& /*context*/) {
    return true;
}

bool PreampAnalyzer::Process(dsp::ProcessContext& context) {
    const float* input = context.inputs[0];
    float* output = context.outputs[0];
    dsp::BiquadSection section = highPass;
    for (u32 n = 0; n < context.numFrames; ++n) {
        output[n] = static_cast<float>(section.Tick(static_cast<double>(input[n])));
    }
    highPass = section;
    if (highPass.Heal()) {
        std::fill_n(output, context.numFrames, 0.0F);
    }
    return true;
}

} // namespace Velmora::Processor
