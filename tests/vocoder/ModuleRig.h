// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/Module.h"
#include "dsp/ParameterNameWriter.h"
#include "dsp/ProcessContext.h"
#include "dsp/RunChild.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace orphia::test {

using Signal = std::vector<float>;
using Velmora::u32;

/// Cuts a length into blocks.
struct BlockSplit {
    /// Frames of each block; the last entry repeats.
    std::vector<u32> sizes;

    u32 SizeOf(std::size_t block) const { return sizes[std::min(block, sizes.size() - 1)]; }

    static BlockSplit Of(u32 size) { return {{size}}; }
    /// Multiples of 4 up to maxSize in random order.
    static BlockSplit Random(u32 maxSize, std::size_t count, u32 seed) {
        std::mt19937 random(seed);
        std::uniform_int_distribution<u32> quads(0, maxSize / 4);
        BlockSplit split;
        for (std::size_t i = 0; i < count; ++i) {
            split.sizes.push_back(4 * quads(random));
        }
        split.sizes.push_back(maxSize);
        return split;
    }
};

/// Runs whole signals through a module, block by block, as its parent would. A null input is absent; aux
/// inputs and further inputs that a module expects stay null.
template <class M>
std::vector<Signal> Render(M& module, const std::vector<const Signal*>& inputs, u32 outputCount,
                           const BlockSplit& split, const std::vector<const Signal*>& auxInputs = {}) {
    std::size_t frames = 0;
    for (const auto* list : {&inputs, &auxInputs}) {
        for (const Signal* input : *list) {
            frames = std::max(frames, input != nullptr ? input->size() : 0);
        }
    }
    frames -= frames % 4;
    std::vector<Signal> outputs(outputCount, Signal(frames, 0.0F));
    std::size_t at = 0;
    for (std::size_t block = 0; at < frames; ++block) {
        const auto size = static_cast<u32>(std::min<std::size_t>(split.SizeOf(block), frames - at));
        std::vector<const float*> in;
        std::vector<const float*> aux;
        std::vector<float*> out;
        for (const Signal* input : inputs) {
            in.push_back(input != nullptr ? input->data() + at : nullptr);
        }
        for (const Signal* input : auxInputs) {
            aux.push_back(input != nullptr ? input->data() + at : nullptr);
        }
        for (Signal& output : outputs) {
            out.push_back(output.data() + at);
        }
        Velmora::dsp::ProcessContext context;
        context.inputs = in.data();
        context.numInputs = static_cast<u32>(in.size());
        context.auxInputs = aux.data();
        context.numAuxInputs = static_cast<u32>(aux.size());
        context.outputs = out.data();
        context.numOutputs = outputCount;
        context.numFrames = size;
        Velmora::dsp::RunChild(module, context);
        at += size;
    }
    return outputs;
}

inline std::string NameOf(Velmora::dsp::Module& module, u32 id) {
    char text[256];
    Velmora::dsp::ParameterNameWriter writer(text, sizeof text);
    module.GetParameterName(id, writer);
    return text;
}

/// White noise in -level..level.
inline Signal Noise(std::size_t frames, float level, u32 seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> white(-level, level);
    Signal signal(frames);
    for (float& x : signal) {
        x = white(random);
    }
    return signal;
}

inline Signal Impulse(std::size_t frames, float height = 1.0F) {
    Signal signal(frames, 0.0F);
    signal[0] = height;
    return signal;
}

inline float Peak(const Signal& signal, std::size_t from = 0) {
    float peak = 0.0F;
    for (std::size_t n = from; n < signal.size(); ++n) {
        peak = std::max(peak, std::abs(signal[n]));
    }
    return peak;
}

inline bool AllFinite(const Signal& signal) {
    return std::all_of(signal.begin(), signal.end(), [](float x) { return std::isfinite(x); });
}

} // namespace orphia::test
