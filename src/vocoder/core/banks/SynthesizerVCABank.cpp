// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/SynthesizerVCABank.h"

namespace Velmora::Processor {

namespace {

// Odd-numbered amplifiers invert.
auto VcaArguments(std::size_t index) {
    return std::make_tuple(index % 2 == 0 ? -1.0F : 1.0F, "VCA" + std::to_string(index + 1));
}

} // namespace

SynthesizerVCABank::SynthesizerVCABank(std::string moduleName)
    : SynthesizerVCABank(std::move(moduleName), std::make_index_sequence<bandCount>()) {}

template <std::size_t... Indices>
SynthesizerVCABank::SynthesizerVCABank(std::string moduleName, std::index_sequence<Indices...> /*indices*/)
    : ModuleContainer(std::move(moduleName), 2 * bandCount + 2, bandCount, {}, VcaArguments(Indices)...) {}

void SynthesizerVCABank::OnInitialize(float /*sampleRate*/, u32 maxBlockSize) {
    buffers.Allocate(BufferCount, dsp::RoundUpToFour(maxBlockSize));
}

void SynthesizerVCABank::OnReset(bool /*hard*/) {}

bool SynthesizerVCABank::UpdateParameters(dsp::ProcessContext& /*context*/) { return true; }

bool SynthesizerVCABank::Process(dsp::ProcessContext& context) {
    const u32 frames = context.numFrames;
    SynthesizerVCA::Saturate(context.inputs[carrierInput], buffers[Carrier], frames);
    SynthesizerVCA::Saturate(context.inputs[noiseInput], buffers[Noise], frames);
    u32 band = 0;
    ForEachChild([&](SynthesizerVCA& vca) {
        const AmplifierPins pins = {buffers[Carrier], buffers[Noise], context.inputs[band],
                                    context.inputs[bandCount + band], context.outputs[band]};
        kernels->amplify(pins, vca.Scale(), frames);
        vca.needsUpdate = false;
        ++band;
    });
    return true;
}

} // namespace Velmora::Processor
