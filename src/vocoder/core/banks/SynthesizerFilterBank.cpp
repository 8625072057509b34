// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/SynthesizerFilterBank.h"

#include "vocoder/core/kernels/LaneTile.h"

#include <algorithm>

namespace Velmora::Processor {

namespace {

// "Shift" moves the lower edge of band 2 by this many Hz in either direction.
constexpr float shiftRange = 69.0F;

std::vector<dsp::ModuleParam> Declare() {
    return {dsp::ModuleParam::Mapped("Shift", 1, -1.0F, 1.0F, 1.0F),
            dsp::ModuleParam::Mapped("Width", 1, -1.0F, 1.0F, 1.0F)};
}

} // namespace

SynthesizerFilterBank::SynthesizerFilterBank(std::string moduleName)
    : ModuleContainer(std::move(moduleName), bandCount + 2, 1, Declare(),
                      std::make_tuple("ParallelBiquadSIMD")) {
    Child<0>().SetBandTypes();
}

void SynthesizerFilterBank::OnInitialize(float sampleRate, u32 maxBlockSize) {
    shiftSmoother.Prepare(sampleRate, maxBlockSize);
}

void SynthesizerFilterBank::OnReset(bool /*hard*/) { shiftSmoother.Set(AdditionalValue(Shift)); }

bool SynthesizerFilterBank::UpdateParameters(dsp::ProcessContext& context) {
    const bool modulated =
        context.ActiveModulation(shiftInput) != nullptr || context.ActiveModulation(widthInput) != nullptr;
    // The smoother steps on such blocks alone: after a single change it goes one step and no further. A reset
    // has put it where "Shift" is, and the filters follow.
    if (!modulated && !needsUpdate && !AdditionalChanged(Shift) && !AdditionalChanged(Width)) {
        return true;
    }
    shiftSmoother.SetTarget(additional.parameters[Shift].GetModulatedValue(context, shiftInput));
    const float shift = shiftSmoother.Next();
    const float width = additional.parameters[Width].GetModulatedValue(context, widthInput);
    Child<0>().SetFrequencies(BandPlan(shift * shiftRange + BandPlan::lowestEdge, width));
    return true;
}

bool SynthesizerFilterBank::Process(dsp::ProcessContext& context) {
    auto& bank = Child<0>();
    auto child = context.ForChild(context.inputs, bandCount, nullptr, 0);
    if (!bank.UpdateParameters(child)) {
        return false;
    }
    // The bank sums its channels as it goes, which saves sixteen buffers on the way.
    for (u32 offset = 0; offset < context.numFrames; offset += LaneTile::maxFrames) {
        const u32 frames = std::min(LaneTile::maxFrames, context.numFrames - offset);
        bank.SumTile(context.inputs, offset, frames, context.outputs[0]);
    }
    bank.FinishBlock();
    return true;
}

} // namespace Velmora::Processor
