// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "vocoder/core/BodeVocoder.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

namespace orphia::bench {

inline constexpr float sampleRate = 44100.0F;
/// The engine's block at 44100 Hz.
inline constexpr unsigned blockSize = 44;
inline constexpr std::size_t blocksPerSignal = 1000;

struct StereoSignal {
    std::vector<float> left;
    std::vector<float> right;
};

/// A pulse train through moving formants: every band up to 5 kHz is active.
StereoSignal Vowels();
/// Noise with a rising spectrum, which the discriminator takes for unvoiced.
StereoSignal Fricatives();
/// Four sawtooth voices.
StereoSignal Chord();

/// Levels, gains and times as in playing; raw start values would leave the core silent.
void SetPlayingParameters(Velmora::Processor::BodeVocoder& core);

/// Reports nanoseconds per frame and the share of one core at 44100 Hz real time.
void ReportPerFrame(benchmark::State& state, unsigned framesPerIteration);

} // namespace orphia::bench
