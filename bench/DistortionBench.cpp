// SPDX-License-Identifier: GPL-3.0-or-later
// The overdrive and the bit crusher, a stereo frame each, 44 frames a block.
#include "BenchSignals.h"
#include "dsp/BitCrusher.h"
#include "dsp/DenormalGuard.h"
#include "dsp/RunChild.h"
#include "dsp/TubeScreamer808.h"

#include <benchmark/benchmark.h>

#include <initializer_list>
#include <utility>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::dsp::BitCrusher;
using Velmora::dsp::TubeScreamer808;
using Settings = std::initializer_list<std::pair<unsigned, float>>;

/// With `moves`, the inputs 2 and 3 modulate anew in each block, so that nothing ever settles.
template <class Unit>
void Run(benchmark::State& state, Settings settings, bool moves) {
    const Velmora::dsp::DenormalGuard guard;
    Unit unit;
    unit.Initialize(sampleRate, blockSize);
    for (const auto& [id, value] : settings) {
        unit.SetParameterValue(id, value);
    }
    const StereoSignal chord = Chord();
    std::vector<std::vector<float>> channels(4, std::vector<float>(blockSize));
    std::vector<float> modulation(blockSize + 1, 1.0F);
    float* outputs[] = {channels[0].data(), channels[1].data(), channels[2].data(), channels[3].data()};
    Velmora::dsp::ProcessContext context;
    context.outputs = outputs;
    context.numInputs = 4;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        const float* swing = moves ? modulation.data() + 1 : nullptr;
        modulation[1] = block % 2 == 0 ? 0.1F : -0.1F;
        const float* inputs[] = {chord.left.data() + block * blockSize,
                                 chord.right.data() + block * blockSize, swing, swing};
        context.inputs = inputs;
        Velmora::dsp::RunChild(unit, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

void Overdrive(benchmark::State& state) { Run<TubeScreamer808>(state, {}, false); }
void OverdriveModulated(benchmark::State& state) { Run<TubeScreamer808>(state, {}, true); }
void Crusher(benchmark::State& state) { Run<BitCrusher>(state, {{BitCrusher::Split, 17.0F}}, false); }
void CrusherFast(benchmark::State& state) {
    Run<BitCrusher>(state, {{BitCrusher::SampleRate, 40000.0F}, {BitCrusher::AntiAlias, 1.0F}}, false);
}
void CrusherUnheld(benchmark::State& state) {
    Run<BitCrusher>(state, {{BitCrusher::SampleRate, 48000.0F}}, false);
}
void CrusherModulated(benchmark::State& state) { Run<BitCrusher>(state, {}, true); }

BENCHMARK(Overdrive)->Name("TS808");
BENCHMARK(OverdriveModulated)->Name("TS808 modulated");
BENCHMARK(Crusher)->Name("BitCrusher");
BENCHMARK(CrusherFast)->Name("BitCrusher at 40 kHz, filtered");
BENCHMARK(CrusherUnheld)->Name("BitCrusher without hold");
BENCHMARK(CrusherModulated)->Name("BitCrusher modulated");

} // namespace
