// SPDX-License-Identifier: GPL-3.0-or-later
// The phaser and the multi-mode filter, a stereo frame each, 44 frames a block.
#include "BenchSignals.h"
#include "dsp/DenormalGuard.h"
#include "dsp/MultiModeFilterPresetChromataFX.h"
#include "dsp/Phaser.h"
#include "dsp/RunChild.h"

#include <benchmark/benchmark.h>

#include <initializer_list>
#include <utility>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::dsp::Phaser;
using Filter = Velmora::dsp::MultiModeFilterPresetChromataFX;

/// With `moves`, input 2 is modulated anew in each block, so that nothing ever settles.
template <class Effect>
void Run(benchmark::State& state, std::initializer_list<std::pair<unsigned, float>> settings,
         bool moves = false) {
    const Velmora::dsp::DenormalGuard guard;
    Effect effect;
    effect.Initialize(sampleRate, blockSize);
    for (const auto& [id, value] : settings) {
        effect.SetParameterValue(id, value);
    }
    const StereoSignal chord = Chord();
    std::vector<float> left(blockSize);
    std::vector<float> right(blockSize);
    std::vector<float> modulation(blockSize + 1, 1.0F);
    float* outputs[] = {left.data(), right.data()};
    Velmora::dsp::ProcessContext context;
    context.outputs = outputs;
    context.numInputs = 3;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        modulation[1] = block % 2 == 0 ? 0.1F : -0.1F;
        const float* inputs[] = {chord.left.data() + block * blockSize,
                                 chord.right.data() + block * blockSize,
                                 moves ? modulation.data() + 1 : nullptr};
        context.inputs = inputs;
        Velmora::dsp::RunChild(effect, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

void SixStages(benchmark::State& state) { Run<Phaser>(state, {}); }
void SixStagesStill(benchmark::State& state) { Run<Phaser>(state, {{Phaser::Depth, 0.0F}}); }
void SixteenStages(benchmark::State& state) {
    Run<Phaser>(state, {{Phaser::Stages, 16.0F}, {Phaser::Drive, 6.0F}}, true);
}
void FilterAtStart(benchmark::State& state) { Run<Filter>(state, {}); }
void FilterStill(benchmark::State& state) { Run<Filter>(state, {{Filter::EnvAmount, 0.0F}}); }
void SteepFilter(benchmark::State& state) {
    Run<Filter>(state, {{Filter::Slope, 1.0F}, {Filter::Drive, 6.0F}}, true);
}

BENCHMARK(SixStages)->Name("Phaser six stages");
BENCHMARK(SixStagesStill)->Name("Phaser six stages still");
BENCHMARK(SixteenStages)->Name("Phaser sixteen stages driven and modulated");
BENCHMARK(FilterAtStart)->Name("Filter 12 dB with envelope");
BENCHMARK(FilterStill)->Name("Filter 12 dB still");
BENCHMARK(SteepFilter)->Name("Filter 24 dB driven and modulated");

} // namespace
