// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/RunChild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

/// Drives one module as its parent would, measures linear stages, and states what holds for every stage.
namespace Velmora::Test {

using Signal = std::vector<float>;
using Signals = std::vector<Signal>;
using Complex = std::complex<double>;

inline constexpr u32 rigBlock = 44;
inline constexpr double pi = std::numbers::pi;

/// Runs the module over the inputs in blocks of the given sizes, repeated. Every input counts as an active
/// modulation where the module reads it as one; lengths are cut to whole groups of four frames. Outputs start
/// as garbage, so that a skipped block shows.
template <class M>
Signals Render(M& module, const Signals& inputs, u32 outputCount,
               const std::vector<u32>& sizes = {rigBlock}) {
    constexpr std::size_t lead = 4;
    Signals padded;
    for (const Signal& input : inputs) {
        padded.emplace_back(lead, 1.0F).insert(padded.back().end(), input.begin(), input.end());
    }
    const std::size_t total = inputs[0].size() / 4 * 4;
    Signals outputs(outputCount, Signal(total, 12345.0F));
    std::size_t start = 0;
    for (std::size_t block = 0; start < total; ++block) {
        const std::size_t frames = std::min<std::size_t>(sizes[block % sizes.size()], total - start);
        std::vector<const float*> in;
        std::vector<float*> out;
        for (const Signal& input : padded) {
            in.push_back(input.data() + lead + start);
        }
        for (Signal& output : outputs) {
            out.push_back(output.data() + start);
        }
        dsp::ProcessContext context;
        context.inputs = in.data();
        context.outputs = out.data();
        context.numInputs = static_cast<u32>(in.size());
        context.numOutputs = outputCount;
        context.numFrames = static_cast<u32>(frames);
        EXPECT_TRUE(dsp::RunChild(module, context));
        start += frames;
    }
    return outputs;
}

inline Signal Impulse(std::size_t length, float amplitude) {
    Signal signal(length, 0.0F);
    signal[0] = amplitude;
    return signal;
}

inline Signal Noise(std::size_t length, float amplitude, u32 seed) {
    std::mt19937 generator(seed);
    Signal signal(length);
    for (float& x : signal) {
        x = amplitude * (static_cast<float>(generator()) / 2147483648.0F - 1.0F);
    }
    return signal;
}

inline Signal Tone(std::size_t length, double hz, double sampleRate, double amplitude) {
    Signal signal(length);
    for (std::size_t n = 0; n < length; ++n) {
        signal[n] =
            static_cast<float>(amplitude * std::sin(2.0 * pi * hz * static_cast<double>(n) / sampleRate));
    }
    return signal;
}

/// A control line that jumps between +15 and -15 V at irregular times.
inline Signal Decisions(std::size_t length, u32 seed) {
    std::mt19937 generator(seed);
    Signal signal(length);
    float level = 15.0F;
    for (float& x : signal) {
        level = generator() % 37 == 0 ? -level : level;
        x = level;
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
inline Complex HighPass2(Complex s, double q) { return s * s / (s * s + s / q + 1.0); }
inline Complex LowPass2(Complex s, double q) { return 1.0 / (s * s + s / q + 1.0); }

/// Compares the spectrum of an impulse response with expected(hz), where that is above -100 dB.
template <class Expected>
void ExpectResponse(const Signal& response, double impulse, double sampleRate, Expected expected) {
    int compared = 0;
    for (const double hz : {20.0, 100.0, 500.0, 2000.0, 0.05 * sampleRate, 0.1 * sampleRate, 0.2 * sampleRate,
                            0.3 * sampleRate, 0.4 * sampleRate, 0.45 * sampleRate}) {
        const Complex turn = std::polar(1.0, -2.0 * pi * hz / sampleRate);
        Complex phase = 1.0;
        Complex sum = 0.0;
        for (const float h : response) {
            sum += static_cast<double>(h) * phase;
            phase *= turn;
        }
        const Complex wanted = expected(hz);
        if (std::abs(wanted) < 1e-5) {
            continue;
        }
        ++compared;
        const double errorDb = 20.0 * std::log10(std::abs(sum / impulse / wanted));
        EXPECT_NEAR(errorDb, 0.0, 0.1) << hz << " Hz at rate " << sampleRate << ", expected gain "
                                       << std::abs(wanted) << ", got " << std::abs(sum / impulse);
        EXPECT_NEAR(std::arg(sum / impulse / wanted), 0.0, 0.02)
            << "phase at " << hz << " Hz, rate " << sampleRate;
    }
    EXPECT_GE(compared, 4);
}

inline const std::vector<double> responseRates = {44100.0, 48000.0, 96000.0, 192000.0};

inline void ExpectSame(const Signals& got, const Signals& expected, const std::string& what) {
    for (std::size_t channel = 0; channel < expected.size(); ++channel) {
        for (std::size_t n = 0; n < expected[channel].size(); ++n) {
            ASSERT_EQ(got[channel][n], expected[channel][n])
                << what << ", output " << channel << ", frame " << n;
        }
    }
}

inline void ExpectFinite(const Signals& signals) {
    for (const Signal& signal : signals) {
        for (std::size_t n = 0; n < signal.size(); ++n) {
            ASSERT_TRUE(std::isfinite(signal[n])) << "frame " << n << " is " << signal[n];
        }
    }
}

inline double Rms(const Signal& signal, std::size_t from) {
    double sum = 0.0;
    for (std::size_t n = from; n < signal.size(); ++n) {
        sum += static_cast<double>(signal[n]) * static_cast<double>(signal[n]);
    }
    return std::sqrt(sum / static_cast<double>(signal.size() - from));
}

/// The block size does not show in the samples, an empty block changes nothing, and a reset module is like
/// a new one. make() yields an initialised module.
template <class Make>
void ExpectStageInvariants(Make make, const Signals& inputs, u32 outputCount) {
    auto reference = make();
    const Signals expected = Render(*reference, inputs, outputCount);
    EXPECT_GT(Rms(expected[0], 0), 0.0);
    for (const std::vector<u32>& sizes :
         {std::vector<u32>{4}, std::vector<u32>{4, 0, 40, 12, 44, 0, 8}, std::vector<u32>{20, 36}}) {
        auto module = make();
        ExpectSame(Render(*module, inputs, outputCount, sizes), expected,
                   "first size " + std::to_string(sizes[0]));
    }
    reference->Reset(true);
    ExpectSame(Render(*reference, inputs, outputCount), expected, "after reset");
}

/// An initialised module.
template <class M>
std::unique_ptr<M> MakeStage(double sampleRate = 48000.0) {
    auto module = std::make_unique<M>();
    module->Initialize(static_cast<float>(sampleRate), rigBlock);
    return module;
}

} // namespace Velmora::Test
