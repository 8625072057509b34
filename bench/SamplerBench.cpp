// SPDX-License-Identifier: GPL-3.0-or-later
// The sampler on a stereo sample at the host's rate, a stereo frame each, 44 frames a block.
#include "bench/BenchSignals.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "dsp/sampler/Sampler.h"

#include <benchmark/benchmark.h>

#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::dsp::SampleData;
using Velmora::dsp::Sampler;
using Velmora::dsp::SlotParameter;

struct Setting {
    SlotParameter key;
    float value;
};

std::shared_ptr<const SampleData> ChordSample() {
    StereoSignal chord = Chord();
    return std::make_shared<SampleData>(std::move(chord.left), std::move(chord.right), sampleRate,
                                        SampleData::Instrument{});
}

/// Seven semitones up, so that nothing falls on whole frames. Started anew where it ends.
void Run(benchmark::State& state, std::initializer_list<Setting> settings, bool tonesMove = false) {
    const Velmora::dsp::DenormalGuard guard;
    const auto sample = ChordSample();
    Sampler sampler;
    sampler.MakeStretchers();
    sampler.Initialize(sampleRate, blockSize);
    sampler.SetSample(sample, 0);
    sampler.SetParameterValue(Sampler::Coarse, 7.0F);
    for (const Setting& setting : settings) {
        sampler.SetParameterValue(Sampler::SlotId(setting.key, 0), setting.value);
    }
    std::vector<float> left(blockSize);
    std::vector<float> right(blockSize);
    float* outputs[] = {left.data(), right.data()};
    Velmora::dsp::ProcessContext context;
    context.outputs = outputs;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    float tone = 0.5F;
    for (auto _ : state) {
        if (sampler.IsFinished()) {
            sampler.Reset(false);
        }
        if (tonesMove) {
            tone = -tone;
            sampler.SetParameterValue(Sampler::Filter, tone);
        }
        Velmora::dsp::RunChild(sampler, context);
        benchmark::ClobberMemory();
    }
    ReportPerFrame(state, blockSize);
}

void Plain(benchmark::State& state) { Run(state, {}); }
void Looped(benchmark::State& state) {
    Run(state, {{SlotParameter::LoopOn, 1.0F},
                {SlotParameter::LoopStart, 0.5F},
                {SlotParameter::LoopStop, 0.8F},
                {SlotParameter::CrossFade, 0.5F}});
}
void ShortLoop(benchmark::State& state) {
    Run(state, {{SlotParameter::LoopOn, 1.0F},
                {SlotParameter::LoopType, 1.0F},
                {SlotParameter::LoopStart, 0.5F},
                {SlotParameter::LoopStop, 0.5F},
                {SlotParameter::CrossFade, 1.0F}});
}
void Stretched(benchmark::State& state, float factor) {
    Run(state, {{SlotParameter::LoopOn, 1.0F},
                {SlotParameter::TimeStretchOn, 1.0F},
                {SlotParameter::TimeStretchFactor, factor}});
}
void MovingTone(benchmark::State& state) { Run(state, {}, true); }

BENCHMARK(Plain)->Name("Sampler plain");
BENCHMARK(Looped)->Name("Sampler loop, half of it crossfade");
BENCHMARK(ShortLoop)->Name("Sampler loop of 1 ms, back and forth");
BENCHMARK(MovingTone)->Name("Sampler with a moving filter");
BENCHMARK_CAPTURE(Stretched, half, 2.0F)->Name("Sampler stretched to half");
BENCHMARK_CAPTURE(Stretched, same, 1.0F)->Name("Sampler stretched at factor 1");
BENCHMARK_CAPTURE(Stretched, four, 0.25F)->Name("Sampler stretched to four times");

} // namespace
