// SPDX-License-Identifier: GPL-3.0-or-later
// The echo and the flanger in their usual and their most expensive states, a stereo frame each, 44 frames a
// block.
#include "bench/MeasureModule.h"
#include "dsp/effects/delay/Delay.h"
#include "dsp/effects/flanger/Flanger.h"
#include "dsp/framework/RunChild.h"

namespace orphia::bench {
namespace {

using Velmora::dsp::Delay;
using Velmora::dsp::Flanger;
using Velmora::dsp::FlangerSettings;

const Movement twoInputs{.inputs = {2, 3}, .first = 0.05F, .second = -0.05F};

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
    Measure<Delay>(state, {{Delay::Wow, 0.0F}, {Delay::Saturation, 0.0F}});
}
void DelayStart(benchmark::State& state) { Measure<Delay>(state); }
void DelayModulated(benchmark::State& state) { Measure<Delay>(state, {}, twoInputs); }
void FlangerStart(benchmark::State& state) { Measure<Flanger>(state); }
void FlangerThroughZero(benchmark::State& state) {
    Measure<Flanger>(state, {{Flanger::ThroughZero, 1.0F},
                             {Flanger::Drive, 0.5F},
                             {Flanger::LFOShape, static_cast<float>(FlangerSettings::Random)}});
}
void FlangerModulated(benchmark::State& state) { Measure<Flanger>(state, {}, twoInputs); }

BENCHMARK(DelayPlain)->Name("Delay without wow and saturation");
BENCHMARK(DelayStart)->Name("Delay as it starts");
BENCHMARK(DelayModulated)->Name("Delay modulated");
BENCHMARK(DelayReset)->Name("Delay block and reset");
BENCHMARK(FlangerStart)->Name("Flanger as it starts");
BENCHMARK(FlangerThroughZero)->Name("Flanger through zero, random, driven");
BENCHMARK(FlangerModulated)->Name("Flanger modulated");

} // namespace
} // namespace orphia::bench
