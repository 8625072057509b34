// SPDX-License-Identifier: GPL-3.0-or-later
// The plate reverb at rest, under modulation, and while its size glides: a stereo frame each, 44 frames a
// block.
#include "BenchSignals.h"
#include "dsp/DenormalGuard.h"
#include "dsp/Reverb.h"
#include "dsp/RunChild.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::dsp::Reverb;

/// With an input, that is modulated anew in each block, so that nothing ever settles.
void Run(benchmark::State& state, unsigned modulatedInput) {
    const Velmora::dsp::DenormalGuard guard;
    Reverb reverb;
    reverb.Initialize(sampleRate, blockSize);
    const StereoSignal chord = Chord();
    std::vector<float> left(blockSize);
    std::vector<float> right(blockSize);
    std::vector<float> modulation(blockSize + 1, 1.0F);
    float* outputs[] = {left.data(), right.data()};
    std::vector<const float*> inputs(reverb.numInputs, nullptr);
    Velmora::dsp::ProcessContext context;
    context.inputs = inputs.data();
    context.outputs = outputs;
    context.numInputs = reverb.numInputs;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        modulation[1] = block % 2 == 0 ? 0.1F : -0.1F;
        inputs[modulatedInput] = modulation.data() + 1;
        inputs[0] = chord.left.data() + block * blockSize;
        inputs[1] = chord.right.data() + block * blockSize;
        Velmora::dsp::RunChild(reverb, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

void AtRest(benchmark::State& state) { Run(state, 0); }
void MixModulated(benchmark::State& state) { Run(state, 2); }
void DecayModulated(benchmark::State& state) { Run(state, 5); }
void SizeModulated(benchmark::State& state) { Run(state, 4); }

BENCHMARK(AtRest)->Name("Reverb at rest");
BENCHMARK(MixModulated)->Name("Reverb mix modulated");
BENCHMARK(DecayModulated)->Name("Reverb decay modulated");
BENCHMARK(SizeModulated)->Name("Reverb size gliding");

} // namespace
