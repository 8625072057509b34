// SPDX-License-Identifier: GPL-3.0-or-later
// The echo and the flanger in their usual and their most expensive states, a stereo frame each, 44 frames a
// block.
#include "BenchSignals.h"
#include "dsp/Delay.h"
#include "dsp/DenormalGuard.h"
#include "dsp/Flanger.h"
#include "dsp/RunChild.h"

#include <benchmark/benchmark.h>

#include <initializer_list>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::dsp::Delay;
using Velmora::dsp::Flanger;
using Velmora::dsp::FlangerSettings;

struct Setting {
    unsigned id;
    float value;
};

/// With `moves`, inputs 2 and 3 are modulated anew in each block, so that nothing ever settles.
template <class M>
void Run(benchmark::State& state, std::initializer_list<Setting> settings, bool moves) {
    const Velmora::dsp::DenormalGuard guard;
    M effect;
    effect.Initialize(sampleRate, blockSize);
    for (const Setting& setting : settings) {
        effect.SetParameterValue(setting.id, setting.value);
    }
    const StereoSignal chord = Chord();
    std::vector<float> left(blockSize);
    std::vector<float> right(blockSize);
    std::vector<float> modulation(blockSize + 1, 1.0F);
    float* outputs[] = {left.data(), right.data()};
    Velmora::dsp::ProcessContext context;
    context.outputs = outputs;
    context.numInputs = 4;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        const float* swing = moves ? modulation.data() + 1 : nullptr;
        modulation[1] = block % 2 == 0 ? 0.05F : -0.05F;
        const float* inputs[] = {chord.left.data() + block * blockSize,
                                 chord.right.data() + block * blockSize, swing, swing};
        context.inputs = inputs;
        Velmora::dsp::RunChild(effect, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

/// A reset after the lines have been in use, which clears them.
void DelayReset(benchmark::State& state) {
    Delay delay;
    delay.Initialize(sampleRate, blockSize);
    std::vector<float> block(blockSize, 0.1F);
    float* outputs[] = {block.data(), block.data()};
    Velmora::dsp::ProcessContext context;
    context.outputs = outputs;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    for (auto _ : state) {
        Velmora::dsp::RunChild(delay, context);
        delay.Reset(false);
        benchmark::ClobberMemory();
    }
}

void DelayPlain(benchmark::State& state) {
    Run<Delay>(state, {{Delay::Wow, 0.0F}, {Delay::Saturation, 0.0F}}, false);
}
void DelayStart(benchmark::State& state) { Run<Delay>(state, {}, false); }
void DelayModulated(benchmark::State& state) { Run<Delay>(state, {}, true); }
void FlangerStart(benchmark::State& state) { Run<Flanger>(state, {}, false); }
void FlangerThroughZero(benchmark::State& state) {
    Run<Flanger>(state,
                 {{Flanger::ThroughZero, 1.0F},
                  {Flanger::Drive, 0.5F},
                  {Flanger::LFOShape, static_cast<float>(FlangerSettings::Random)}},
                 false);
}
void FlangerModulated(benchmark::State& state) { Run<Flanger>(state, {}, true); }

BENCHMARK(DelayPlain)->Name("Delay without wow and saturation");
BENCHMARK(DelayStart)->Name("Delay as it starts");
BENCHMARK(DelayModulated)->Name("Delay modulated");
BENCHMARK(DelayReset)->Name("Delay block and reset");
BENCHMARK(FlangerStart)->Name("Flanger as it starts");
BENCHMARK(FlangerThroughZero)->Name("Flanger through zero, random, driven");
BENCHMARK(FlangerModulated)->Name("Flanger modulated");

} // namespace
