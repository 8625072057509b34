// SPDX-License-Identifier: GPL-3.0-or-later
// The smallest use of the core: a saw as carrier, a pulsing tone as modulator, one second of blocks.
#include "dsp/framework/ParameterNameWriter.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "vocoder/core/BodeVocoder.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string_view>

namespace {

using Velmora::Processor::BodeVocoder;

constexpr float sampleRate = 44100.0F;
constexpr unsigned blockSize = 44;

/// Sets every parameter whose name ends like this, in its real unit. Levels start at their minimum.
void Set(BodeVocoder& core, std::string_view ending, float value) {
    for (Velmora::u32 id = 0; id < BodeVocoder::parameterCount; ++id) {
        std::array<char, 256> text{};
        Velmora::dsp::ParameterNameWriter writer(text.data(), text.size());
        core.GetParameterName(id, writer);
        if (std::string_view(text.data()).ends_with(ending)) {
            core.SetParameterValue(id, value);
        }
    }
}

} // namespace

int main() {
    const auto core = std::make_unique<BodeVocoder>();
    Set(*core, "ProgramLevel", -12.0F);
    Set(*core, "CarrierLevel", -12.0F);
    Set(*core, "HissBuzzTrimmer", 0.5F);
    Set(*core, "_NoiseCarrierBalance_NoiseCarrierBalance", 1.0F);
    Set(*core, "_Wet", 1.0F);
    Set(*core, "_Shift", 0.0F);
    Set(*core, "_Width", 0.0F);
    for (int band = 1; band <= 16; ++band) {
        Set(*core, "GainBand" + std::to_string(band), 1.0F);
    }
    core->Initialize(sampleRate, blockSize);

    alignas(16) float carrier[blockSize];
    alignas(16) float modulator[blockSize];
    alignas(16) float buffers[6][blockSize];
    const float* inputs[11] = {carrier, carrier}; // the others are modulations, absent here
    const float* auxInputs[2] = {modulator, modulator};
    float* outputs[6] = {buffers[0], buffers[1], buffers[2], buffers[3], buffers[4], buffers[5]};

    Velmora::dsp::ProcessContext context;
    context.inputs = inputs;
    context.numInputs = 11;
    context.auxInputs = auxInputs;
    context.numAuxInputs = 2;
    context.outputs = outputs;
    context.numOutputs = 6;
    context.numFrames = blockSize;

    float loudest = 0.0F;
    for (unsigned block = 0; block < 1002; ++block) {
        for (unsigned n = 0; n < blockSize; ++n) {
            const float t = static_cast<float>(block * blockSize + n) / sampleRate;
            carrier[n] = 0.5F * (2.0F * std::fmod(110.0F * t, 1.0F) - 1.0F);
            modulator[n] = std::fmod(2.0F * t, 1.0F) < 0.5F ? 0.5F * std::sin(6.2831853F * 440.0F * t) : 0.0F;
        }
        const Velmora::dsp::DenormalGuard guard;
        Velmora::dsp::RunChild(*core, context);
        for (const float x : buffers[0]) {
            loudest = std::max(loudest, std::abs(x));
        }
    }
    std::printf("one second, loudest sample %.3f\n", static_cast<double>(loudest));
    return loudest > 0.0F ? 0 : 1;
}
