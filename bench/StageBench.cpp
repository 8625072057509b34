// SPDX-License-Identifier: GPL-3.0-or-later
// Each stage of one channel by itself, as its parent runs it, 44 frames a block.
#include "bench/BenchSignals.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "dsp/oscillators/NoiseGenerator.h"
#include "vocoder/core/BodeVocoderMono.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace orphia::bench;
using namespace Velmora::Processor;

/// Runs a stage on speech at every input.
template <class M>
void RunStage(benchmark::State& state, M& module, float level) {
    const Velmora::dsp::DenormalGuard guard;
    module.Initialize(sampleRate, blockSize);
    StereoSignal speech = Vowels();
    for (float& x : speech.left) {
        x *= level;
    }
    // Modulation inputs get the same buffer; the mark in front of each block tells that they are not in use.
    for (std::size_t block = 0; block < blocksPerSignal; ++block) {
        speech.left[block * blockSize] = 0.0F;
    }
    std::vector<std::vector<float>> buffers(module.numOutputs, std::vector<float>(blockSize));
    std::vector<float*> outputs;
    for (auto& buffer : buffers) {
        outputs.push_back(buffer.data());
    }
    std::vector<const float*> inputs(module.numInputs);
    Velmora::dsp::ProcessContext context;
    context.inputs = inputs.data();
    context.numInputs = module.numInputs;
    context.outputs = outputs.data();
    context.numOutputs = module.numOutputs;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        inputs.assign(module.numInputs, speech.left.data() + block * blockSize + 1);
        Velmora::dsp::RunChild(module, context);
        benchmark::ClobberMemory();
        block = (block + 1) % (blocksPerSignal - 1);
    }
    ReportPerFrame(state, blockSize);
}

template <class M>
void Stage(benchmark::State& state) {
    M module;
    RunStage(state, module, 1.0F);
}

void Gate(benchmark::State& state) {
    VCAGate gate("VCAGate");
    gate.preGain = 12.0F;
    gate.postGain = 20000.0F;
    gate.SetParameterValue(VCAGate::FcGateAttack, 1591.0F);
    gate.SetParameterValue(VCAGate::FcGateRelease, 17.7F);
    RunStage(state, gate, -15.0F);
}

void Shaper(benchmark::State& state) {
    NoiseShaper shaper;
    shaper.Prepare(sampleRate);
    StereoSignal noise = Fricatives();
    std::size_t block = 0;
    for (auto _ : state) {
        NoiseShaper::Run(blockSize, {shaper, noise.left.data() + block * blockSize});
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

void OneChannel(benchmark::State& state) {
    BodeVocoderMono channel;
    RunStage(state, channel, 1.0F);
}

BENCHMARK(Stage<Preamp>)->Name("Preamp");
BENCHMARK(Stage<PreampAnalyzer>)->Name("PreampAnalyzer");
BENCHMARK(Stage<HissBuzzDiscriminator>)->Name("HissBuzzDiscriminator");
BENCHMARK(Stage<HFChannel>)->Name("HFChannel");
BENCHMARK(Stage<Velmora::dsp::NoiseGenerator>)->Name("NoiseGenerator");
BENCHMARK(Shaper)->Name("NoiseShaper");
BENCHMARK(Gate)->Name("VCAGate");
BENCHMARK(Stage<CarrierPreamp>)->Name("CarrierPreamp");
BENCHMARK(Stage<NoiseCarrierBalance>)->Name("NoiseCarrierBalance");
BENCHMARK(Stage<AnalyzerFilterBank>)->Name("AnalyzerFilterBank");
BENCHMARK(Stage<AnalyzerRectifiers>)->Name("AnalyzerRectifiers");
BENCHMARK(Stage<PatchBay>)->Name("PatchBay");
BENCHMARK(Stage<SynthesizerVCABank>)->Name("SynthesizerVCABank");
BENCHMARK(Stage<SynthesizerFilterBank>)->Name("SynthesizerFilterBank");
BENCHMARK(OneChannel)->Name("BodeVocoderMono");

} // namespace
