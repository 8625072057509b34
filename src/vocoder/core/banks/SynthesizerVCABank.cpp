// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/SynthesizerVCABank.h"

#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

constexpr float drive = 12.5F;
/// Times the polarity, in the circuit; the saturation is odd, so the polarity may stand behind it.
constexpr float polarityDrive = 0.02296043F;
constexpr float outputScale = 100000.0F;

/// Odd-numbered amplifiers, counted from 1, invert.
float Polarity(u32 band) { return band % 2 == 0 ? -1.0F : 1.0F; }

} // namespace

SynthesizerVCABank::SynthesizerVCABank(std::string moduleName)
    : UnitModule(std::move(moduleName), InputCount, bandCount, std::vector<dsp::ModuleParam>()) {
    SetGains(nullptr);
}

void SynthesizerVCABank::OnInitialize(float /*sampleRate*/, u32 maxBlockSize) {
    buffers.Allocate(BufferCount, dsp::RoundUpToFour(maxBlockSize));
}

bool SynthesizerVCABank::Process(dsp::ProcessContext& context) {
    SaturateBuses(context.inputs[CarrierBus], context.inputs[NoiseBus], context.numFrames);
    for (u32 band = 0; band < bandCount; ++band) {
        const AmplifierPins pins = {buffers[Carrier], buffers[Noise], context.inputs[band],
                                    context.inputs[bandCount + band], context.outputs[band]};
        kernels->amplify(pins, Polarity(band), context.numFrames);
    }
    return true;
}

void SynthesizerVCABank::SaturateBuses(const float* carrier, const float* noise, u32 numFrames) {
    kernels->saturate(carrier, polarityDrive * drive, outputScale, buffers[Carrier], numFrames);
    kernels->saturate(noise, polarityDrive * drive, outputScale, buffers[Noise], numFrames);
}

void SynthesizerVCABank::SetGains(const float* gains) {
    for (u32 band = 0; band < bandCount; ++band) {
        lanes.gain[band] = gains != nullptr ? Polarity(band) * gains[band] : Polarity(band);
    }
}

void SynthesizerVCABank::ReadControls(const float* const* inputs, u32 offset, u32 frames, LaneTile& first,
                                      LaneTile& second) const {
    kernels->gatherBands(inputs, offset, frames, first);
    kernels->gatherBands(inputs + bandCount, offset, frames, second);
}

} // namespace Velmora::Processor
