// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/SynthesizerVCA.h"

#include "dsp/vectors/Simd.h"
#include "vocoder/core/kernels/VocoderKernels.h"

#include <algorithm>

namespace Velmora::Processor {

namespace {

using dsp::simd::Float4;

constexpr float drive = 12.5F;
/// Times the polarity; behind f here.
constexpr float polarityDrive = 0.02296043F;
constexpr float outputScale = 100000.0F;

} // namespace

SynthesizerVCA::SynthesizerVCA(float vcaPolarity, std::string moduleName)
    : UnitModule(std::move(moduleName), 4, 1, std::vector<dsp::ModuleParam>{}), polarity(vcaPolarity) {}

void SynthesizerVCA::OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) {}

void SynthesizerVCA::OnReset(bool /*hard*/) {}

bool SynthesizerVCA::UpdateParameters(dsp::ProcessContext& /*context*/) { return true; }

void SynthesizerVCA::Saturate(const float* bus, float* out, u32 numFrames) {
    const Float4 scale(polarityDrive * drive);
    for (u32 n = 0; n + 4 <= numFrames; n += 4) {
        const Float4 v = Float4::load_unaligned(bus + n) * scale;
        const Float4 square = v * v;
        const Float4 f = (square + 27.0F) * v / (square * 9.0F + 27.0F);
        xsimd::min(xsimd::max(f, Float4(-1.0F)), Float4(1.0F)).store_unaligned(out + n);
    }
}

float SynthesizerVCA::Scale() const { return polarity * outputScale; }

bool SynthesizerVCA::Process(dsp::ProcessContext& context) {
    constexpr u32 chunk = 64;
    alignas(16) float carrier[chunk];
    alignas(16) float noise[chunk];
    for (u32 offset = 0; offset < context.numFrames; offset += chunk) {
        const u32 frames = std::min(chunk, context.numFrames - offset);
        Saturate(context.inputs[0] + offset, carrier, frames);
        Saturate(context.inputs[1] + offset, noise, frames);
        const AmplifierPins pins = {carrier, noise, context.inputs[2] + offset, context.inputs[3] + offset,
                                    context.outputs[0] + offset};
        SelectVocoderKernels().amplify(pins, Scale(), frames);
    }
    return true;
}

} // namespace Velmora::Processor
