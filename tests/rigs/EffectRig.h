// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/OscillatorRig.h"
#include "rigs/StageRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <numeric>
#include <vector>

/// Plays stereo effects, and measures delays.
namespace orphia::test {

using Velmora::Test::Tone;

inline constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
inline constexpr float infinity = std::numeric_limits<float>::infinity();

/// One constant value at a modulation input, and the host's clock at the start.
struct Playing {
    u32 input = 0;
    float value = 0.0F;
    float tempo = 120.0F;
    bool runs = false;
    float beat = 0.0F;
};

template <class M>
void Set(M& effect, const Settings& settings) {
    for (const auto& [id, value] : settings) {
        effect.SetParameterValue(id, value);
    }
}

template <class M>
std::unique_ptr<M> Make(const Settings& first, const Settings& then = {}, float rate = 44100.0F) {
    auto effect = std::make_unique<M>();
    effect->Initialize(rate, 64);
    Set(*effect, first);
    Set(*effect, then);
    return effect;
}

/// In blocks of 44 frames, a multiple of 4 in all, with the clock of a rate of 44100 Hz.
template <class M>
std::vector<Signal> Play(M& effect, const Signal& left, const Signal& right, const Playing& how = {}) {
    std::vector<float> modulation(45, how.value);
    modulation[0] = 1.0F;
    std::vector<Signal> outputs(2, Signal(left.size()));
    std::vector<const float*> inputs(effect.numInputs, nullptr);
    for (std::size_t n = 0; n < left.size(); n += 44) {
        inputs[0] = left.data() + n;
        inputs[1] = right.data() + n;
        inputs[how.input] = how.input > 1 ? modulation.data() + 1 : inputs[how.input];
        float* out[2] = {outputs[0].data() + n, outputs[1].data() + n};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs.data();
        context.numInputs = effect.numInputs;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = static_cast<u32>(std::min<std::size_t>(44, left.size() - n));
        context.tempo = how.tempo;
        context.isPlaying = how.runs ? 1 : 0;
        context.songPosition = how.beat + static_cast<float>(n) / 44100.0F * how.tempo / 60.0F;
        Velmora::dsp::RunChild(effect, context);
    }
    return outputs;
}

/// Peak from one frame to another of what lies above 6 kHz at 44100 Hz: what a click adds to a deep tone,
/// which is itself 120 dB down.
inline double PeakAbove6k(const Signal& signal, std::size_t from, std::size_t to) {
    constexpr int half = 200;
    static const std::vector<double> kernel = [] {
        std::vector<double> taps;
        for (int k = -half; k <= half; ++k) {
            const double x = std::numbers::pi * k;
            const double window = 0.35875 + 0.48829 * std::cos(x / half) +
                                  0.14128 * std::cos(2.0 * x / half) + 0.01168 * std::cos(3.0 * x / half);
            constexpr double corner = 12000.0 / 44100.0;
            taps.push_back(k == 0 ? 1.0 - corner : -window * std::sin(corner * x) / x);
        }
        return taps;
    }();
    double peak = 0.0;
    for (std::size_t n = from; n + kernel.size() <= to; ++n) {
        peak = std::max(peak,
                        std::abs(std::inner_product(kernel.begin(), kernel.end(),
                                                    signal.begin() + static_cast<std::ptrdiff_t>(n), 0.0)));
    }
    return peak;
}

/// Rises so slowly that an effect of delay alone shows the delay of each frame.
inline Signal SlowRamp(std::size_t frames) {
    Signal ramp(frames);
    for (std::size_t n = 0; n < frames; ++n) {
        ramp[n] = static_cast<float>(n) * 1e-5F;
    }
    return ramp;
}

/// The delays in ms at a rate of 44100 Hz; first is the frame of the ramp that heard starts with.
inline Signal DelaysOf(const Signal& heard, std::size_t first) {
    Signal delays(heard.size());
    for (std::size_t n = 0; n < heard.size(); ++n) {
        delays[n] = (static_cast<float>(first + n) - heard[n] * 1e5F) / 44.1F;
    }
    return delays;
}

} // namespace orphia::test
