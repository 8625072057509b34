// SPDX-License-Identifier: GPL-3.0-or-later
// The compressor on a chord, a stereo frame each, 44 frames a block.
#include "bench/MeasureModule.h"
#include "dsp/effects/compressor/Compressor.h"

#include <cmath>

namespace orphia::bench {
namespace {

using Velmora::dsp::Compressor;

void Run(benchmark::State& state, const StereoSignal& signal, Settings settings) {
    const Settings common{{Compressor::Wet, 1.0F},         {Compressor::OutputGain, 0.0F},
                          {Compressor::ConfStereo, 1.0F},  {Compressor::Makeup, 1.0F},
                          {Compressor::Threshold, -30.0F}, {Compressor::Ratio, 5.0F},
                          {Compressor::Attack, 2.0F},      {Compressor::Release, 100.0F}};
    Compressor compressor;
    compressor.Initialize(sampleRate, blockSize);
    for (const Settings* const some : {&common, &std::as_const(settings)}) {
        for (const auto& [id, value] : *some) {
            compressor.SetParameterValue(id, value);
        }
    }
    MeasureModule(state, compressor, signal);
}

void Linked(benchmark::State& state) {
    Run(state, Chord(), {{Compressor::StereoMode, 1.0F}, {Compressor::KneeWidth, 35.0F}});
}
void Unlinked(benchmark::State& state) {
    Run(state, Chord(),
        {{Compressor::LevelMeasureSmoothAR, 1.0F},
         {Compressor::LookaheadEnable, 1.0F},
         {Compressor::LookaheadTimeMs, 5.0F}});
}
/// The most costly case: in the knee, a level that rises by the same decibels per second lets the gain fall
/// ever faster, so that each frame draws the gain anew over the whole lookahead.
void LongLookahead(benchmark::State& state) {
    StereoSignal swell;
    for (std::size_t n = 0; n < blocksPerSignal * blockSize; ++n) {
        const float part = static_cast<float>(n) / static_cast<float>(blocksPerSignal * blockSize);
        swell.left.push_back(std::pow(10.0F, -2.375F + 0.85F * part));
    }
    swell.right = swell.left;
    Run(state, swell,
        {{Compressor::KneeWidth, 35.0F},
         {Compressor::LookaheadEnable, 1.0F},
         {Compressor::LookaheadTimeMs, 10.0F}});
}

BENCHMARK(Linked)->Name("Compressor linked, soft knee");
BENCHMARK(Unlinked)->Name("Compressor unlinked, level smoothing, 5 ms lookahead");
BENCHMARK(LongLookahead)->Name("Compressor unlinked, swell, 10 ms lookahead");

} // namespace
} // namespace orphia::bench
