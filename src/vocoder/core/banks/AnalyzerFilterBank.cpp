// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/AnalyzerFilterBank.h"

#include "dsp/framework/RunChild.h"

#include <algorithm>

namespace Velmora::Processor {

AnalyzerFilterBank::AnalyzerFilterBank(std::string moduleName)
    : ModuleContainer(std::move(moduleName), 1, bandCount, {}, std::make_tuple("FilterBank")) {
    Child<0>().SetBandTypes();
    Child<0>().SetFrequencies(BandPlan(BandPlan::lowestEdge, 0.0F));
}

void AnalyzerFilterBank::OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) {}

void AnalyzerFilterBank::OnReset(bool /*hard*/) {}

bool AnalyzerFilterBank::UpdateParameters(dsp::ProcessContext& /*context*/) { return true; }

bool AnalyzerFilterBank::Process(dsp::ProcessContext& context) {
    const float* inputs[bandCount];
    std::fill_n(inputs, bandCount, context.inputs[0]);
    auto child = context.ForChild(inputs, bandCount, context.outputs, bandCount);
    return dsp::RunChild(Child<0>(), child);
}

void AnalyzerFilterBank::FinishBlock() {
    Child<0>().FinishBlock();
    needsUpdate = false;
}

} // namespace Velmora::Processor
