// SPDX-License-Identifier: GPL-3.0-or-later
// The equaliser with five bands on, settled and moving, a stereo frame each, and what listens to the
// modulator's input, 44 frames a block.
#include "BenchSignals.h"
#include "dsp/DenormalGuard.h"
#include "dsp/InputDetector.h"
#include "dsp/ParamEq.h"
#include "dsp/RunChild.h"
#include "dsp/VuMeter.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::dsp::InputDetector;
using Velmora::dsp::VuMeter;
using Eq = Velmora::dsp::ParamEq<5>;

void SetUp(Eq& eq) {
    constexpr float modes[] = {3.0F, 4.0F, 4.0F, 4.0F, 5.0F};
    constexpr float cutoffs[] = {120.0F, 400.0F, 1200.0F, 3500.0F, 8000.0F};
    for (unsigned band = 0; band < 5; ++band) {
        eq.SetParameterValue(Eq::OnId(band), 1.0F);
        eq.SetParameterValue(Eq::ModeId(band), modes[band]);
        eq.SetParameterValue(Eq::CutoffId(band), cutoffs[band]);
        eq.SetParameterValue(Eq::GainId(band), 6.0F);
        eq.SetParameterValue(Eq::QId(band), 1.0F);
    }
}

/// With `moves`, the gain and the cutoff of every band change with each block.
void RunEq(benchmark::State& state, bool moves) {
    const Velmora::dsp::DenormalGuard guard;
    Eq eq;
    eq.Initialize(sampleRate, blockSize);
    SetUp(eq);
    const StereoSignal chord = Chord();
    std::vector<float> left(blockSize);
    std::vector<float> right(blockSize);
    std::vector<float> modulation(blockSize + 1, 1.0F);
    float* outputs[] = {left.data(), right.data()};
    Velmora::dsp::ProcessContext context;
    context.outputs = outputs;
    context.numInputs = 8;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        const float* swing = moves ? modulation.data() + 1 : nullptr;
        modulation[1] = block % 2 == 0 ? -0.01F : -0.02F;
        const float* l = chord.left.data() + block * blockSize;
        const float* r = chord.right.data() + block * blockSize;
        const float* inputs[] = {l, r, swing, swing, swing, swing, swing, swing};
        context.inputs = inputs;
        Velmora::dsp::RunChild(eq, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

template <class M>
void RunListener(benchmark::State& state, unsigned channels) {
    const Velmora::dsp::DenormalGuard guard;
    M listener;
    listener.Initialize(sampleRate, blockSize);
    const StereoSignal vowels = Vowels();
    Velmora::dsp::ProcessContext context;
    context.numInputs = channels;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        const float* inputs[] = {vowels.left.data() + block * blockSize,
                                 vowels.right.data() + block * blockSize};
        context.inputs = inputs;
        Velmora::dsp::RunChild(listener, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

void Settled(benchmark::State& state) { RunEq(state, false); }
void Moving(benchmark::State& state) { RunEq(state, true); }
void Detector(benchmark::State& state) { RunListener<InputDetector>(state, 2); }
void Meter(benchmark::State& state) { RunListener<VuMeter>(state, 1); }

BENCHMARK(Settled)->Name("ParamEq five bands");
BENCHMARK(Moving)->Name("ParamEq five bands moving");
BENCHMARK(Detector)->Name("InputDetector");
BENCHMARK(Meter)->Name("VuMeter");

} // namespace
