// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/Module.h"
#include "dsp/framework/ParameterNameWriter.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/framework/RunChild.h"
#include "rigs/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
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
/// inputs and further inputs that a module expects stay null. Every other input counts as an active
/// modulation where the module reads it as one. Outputs start as garbage, so that a skipped block shows, and
/// a frame behind the block that is not the module's. No block may allocate.
template <class M>
std::vector<Signal> Render(M& module, const std::vector<const Signal*>& inputs, u32 outputCount,
                           const BlockSplit& split, const std::vector<const Signal*>& auxInputs = {}) {
    constexpr std::size_t lead = 4;
    std::vector<Signal> padded;
    std::size_t frames = 0;
    for (const auto* list : {&inputs, &auxInputs}) {
        for (const Signal* input : *list) {
            padded.emplace_back(lead, 1.0F);
            if (input != nullptr) {
                padded.back().insert(padded.back().end(), input->begin(), input->end());
                frames = std::max(frames, input->size());
            }
        }
    }
    frames -= frames % 4;
    constexpr float untouched = 12345.0F;
    std::vector<Signal> outputs(outputCount, Signal(frames + 1, untouched));
    std::vector<const float*> in(padded.size(), nullptr);
    std::vector<float*> out(outputCount);
    std::size_t at = 0;
    for (std::size_t block = 0; at < frames; ++block) {
        for (std::size_t i = 0; i < padded.size(); ++i) {
            in[i] = padded[i].size() > lead ? padded[i].data() + lead + at : nullptr;
        }
        std::transform(outputs.begin(), outputs.end(), out.begin(), [at](Signal& s) { return &s[at]; });
        Velmora::dsp::ProcessContext context;
        context.inputs = in.data();
        context.numInputs = static_cast<u32>(inputs.size());
        context.auxInputs = in.data() + inputs.size();
        context.numAuxInputs = static_cast<u32>(auxInputs.size());
        context.outputs = out.data();
        context.numOutputs = outputCount;
        context.numFrames = static_cast<u32>(std::min<std::size_t>(split.SizeOf(block), frames - at));
        const orphia_reference::AllocationCounter allocations;
        EXPECT_TRUE(Velmora::dsp::RunChild(module, context));
        EXPECT_EQ(allocations.Count(), 0U);
        at += context.numFrames;
        for (const Signal& output : outputs) {
            EXPECT_EQ(output[at], untouched) << "behind frame " << at;
        }
    }
    std::for_each(outputs.begin(), outputs.end(), [](Signal& output) { output.pop_back(); });
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

/// Infinite where a sample is no number.
inline float Peak(const Signal& signal, std::size_t from = 0) {
    float peak = 0.0F;
    for (std::size_t n = from; n < signal.size(); ++n) {
        peak = std::max(peak, std::isnan(signal[n]) ? HUGE_VALF : std::abs(signal[n]));
    }
    return peak;
}

/// Complex gain at one frequency, from an impulse response that has died away.
inline std::complex<double> Transform(const Signal& impulseResponse, double hz, double rate) {
    const std::complex<double> turn = std::polar(1.0, -2.0 * std::numbers::pi * hz / rate);
    std::complex<double> sum = 0.0;
    for (std::size_t n = impulseResponse.size(); n-- > 0;) {
        sum = sum * turn + static_cast<double>(impulseResponse[n]);
    }
    return sum;
}

inline double Rms(const Signal& signal, std::size_t from = 0) {
    double sum = 0.0;
    for (std::size_t n = from; n < signal.size(); ++n) {
        sum += static_cast<double>(signal[n]) * static_cast<double>(signal[n]);
    }
    return std::sqrt(sum / static_cast<double>(signal.size() - from));
}

inline bool AllFinite(const Signal& signal) {
    return std::all_of(signal.begin(), signal.end(), [](float x) { return std::isfinite(x); });
}

} // namespace orphia::test
