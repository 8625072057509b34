// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/RunChild.h"
#include "dsp/lfo/LFO.h"
#include "dsp/modulation/ModulationChannels.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace Velmora::Test {

using dsp::LFO;
using Settings = std::vector<std::pair<u32, float>>;

inline constexpr float rate = 44100.0F;
inline constexpr u32 blockSize = 44;
inline constexpr double blockSeconds = blockSize / 44100.0;
inline constexpr float nan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float inf = std::numeric_limits<float>::infinity();

inline double Fraction(double x) { return x - std::floor(x); }

/// Two cycles a second at 120 beats per minute, free or locked.
inline const Settings twoHertz = {{LFO::RateUnSynced, 2.0F}, {LFO::RateSynced, 5.0F}};

/// Distance on the circle of phases.
inline double PhaseError(double a, double b) { return std::abs(std::remainder(a - b, 1.0)); }

/// A seeded source with its host. The phase shows as a rising saw unless a test says otherwise.
struct LFORig {
    explicit LFORig(const Settings& settings, bool perBlock = true) {
        Set({{LFO::ControlRate, perBlock ? 1.0F : 0.0F}, {LFO::Waveform, LFO::RisingSaw}});
        Set(settings);
        lfo.Initialize(rate, blockSize);
        lfo.Seed(1);
        inputs.Resize(3, 4, 4);
    }
    void Set(const Settings& settings) {
        for (const auto& [id, value] : settings) {
            lfo.SetParameterValue(id, value);
        }
    }
    void Modulate(u32 input, float value) {
        inputs[input][-1] = 1.0F;
        inputs[input][0] = value;
    }
    /// One block at the host's beat, which then moves on.
    void Block(u32 frames = blockSize) {
        const float* in[] = {inputs[0], inputs[1], inputs[2]};
        float* out[] = {left.data(), right.data()};
        dsp::ProcessContext context;
        context.inputs = in;
        context.numInputs = 3;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = frames;
        context.tempo = tempo;
        context.songPosition = static_cast<float>(beat);
        context.isPlaying = playing ? 1 : 0;
        ASSERT_TRUE(dsp::RunChild(lfo, context));
        if (playing) {
            beat += static_cast<double>(tempo) / 60.0 * frames / static_cast<double>(rate);
        }
    }
    double Phase() { return static_cast<double>(lfo.FindParameter(LFO::CurrentPhaseFeedback)->GetValue()); }
    double NextPhase() {
        Block();
        return Phase();
    }

    LFO lfo;
    dsp::ModulationChannels inputs;
    std::array<float, blockSize> left = {};
    std::array<float, blockSize> right = {};
    float tempo = 120.0F;
    double beat = 0.0;
    bool playing = false;
};

} // namespace Velmora::Test
