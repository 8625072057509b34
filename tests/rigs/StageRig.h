// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ModuleRig.h"

#include <memory>

/// Drives one module with its inputs by value, and measures linear stages.
namespace Velmora::Test {

using orphia::test::AllFinite;
using orphia::test::Impulse;
using orphia::test::Noise;
using orphia::test::Rms;
using orphia::test::Signal;
using Signals = std::vector<Signal>;
using Complex = std::complex<double>;

inline constexpr u32 rigBlock = 44;
inline constexpr double pi = std::numbers::pi;

/// Runs the module over the inputs in blocks of the given sizes, repeated.
template <class M>
Signals Render(M& module, const Signals& inputs, u32 outputCount,
               const std::vector<u32>& sizes = {rigBlock}) {
    std::vector<const Signal*> pointers;
    for (const Signal& input : inputs) {
        pointers.push_back(&input);
    }
    orphia::test::BlockSplit split;
    for (std::size_t at = 0; at < inputs[0].size(); at += split.sizes.back()) {
        split.sizes.push_back(sizes[split.sizes.size() % sizes.size()]);
    }
    return orphia::test::Render(module, pointers, outputCount, split);
}

inline Signal Tone(std::size_t length, double hz, double sampleRate, double amplitude) {
    Signal signal(length);
    for (std::size_t n = 0; n < length; ++n) {
        signal[n] =
            static_cast<float>(amplitude * std::sin(2.0 * pi * hz * static_cast<double>(n) / sampleRate));
    }
    return signal;
}

/// Analogue high-pass and low-pass of first and second order, seen through the bilinear transform that maps
/// their corner exactly.
inline Complex AnalogueFrequency(double hz, double corner, double sampleRate) {
    return {0.0, std::tan(pi * hz / sampleRate) / std::tan(pi * corner / sampleRate)};
}
inline Complex HighPass1(Complex s) { return s / (s + 1.0); }
inline Complex LowPass1(Complex s) { return 1.0 / (s + 1.0); }

/// An initialised module.
template <class M>
std::unique_ptr<M> MakeStage(double sampleRate = 48000.0) {
    auto module = std::make_unique<M>();
    module->Initialize(static_cast<float>(sampleRate), rigBlock);
    return module;
}

} // namespace Velmora::Test
