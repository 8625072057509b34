// SPDX-License-Identifier: GPL-3.0-or-later
// The chorus as the ensemble and in its other states, a stereo frame each, 44 frames a block.
#include "BenchSignals.h"
#include "dsp/Chorus.h"
#include "dsp/DenormalGuard.h"
#include "dsp/RunChild.h"

#include <benchmark/benchmark.h>

#include <initializer_list>
#include <utility>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::dsp::Chorus;

struct Setting {
    unsigned id;
    float value;
};

/// With `moves`, "DryWet" and "Freq" are modulated anew in each block, so that nothing ever settles.
void Run(benchmark::State& state, std::initializer_list<Setting> settings, bool moves) {
    const Velmora::dsp::DenormalGuard guard;
    Chorus chorus;
    chorus.Initialize(sampleRate, blockSize);
    for (const Setting& setting : settings) {
        chorus.SetParameterValue(setting.id, setting.value);
    }
    const StereoSignal chord = Chord();
    std::vector<float> left(blockSize);
    std::vector<float> right(blockSize);
    std::vector<float> modulation(blockSize + 1, 1.0F);
    float* outputs[] = {left.data(), right.data()};
    Velmora::dsp::ProcessContext context;
    context.outputs = outputs;
    context.numInputs = 5;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        const float* swing = moves ? modulation.data() + 1 : nullptr;
        modulation[1] = block % 2 == 0 ? 0.1F : -0.1F;
        const float* inputs[] = {chord.left.data() + block * blockSize,
                                 chord.right.data() + block * blockSize, swing, nullptr, swing};
        context.inputs = inputs;
        Velmora::dsp::RunChild(chorus, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

void Ensemble(benchmark::State& state) {
    Run(state, {{Chorus::Voices, 3.0F}, {Chorus::Feedback, 0.194F}}, false);
}
void FourVoices(benchmark::State& state) { Run(state, {{Chorus::Voices, 4.0F}}, false); }
void Drifting(benchmark::State& state) {
    Run(state, {{Chorus::Drift, 1.0F}, {Chorus::LFOShape, 3.0F}}, false);
}
void Modulated(benchmark::State& state) { Run(state, {}, true); }

BENCHMARK(Ensemble)->Name("Chorus ensemble");
BENCHMARK(FourVoices)->Name("Chorus four voices");
BENCHMARK(Drifting)->Name("Chorus random shape and drift");
BENCHMARK(Modulated)->Name("Chorus modulated");

} // namespace
