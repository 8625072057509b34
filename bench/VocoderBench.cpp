// SPDX-License-Identifier: GPL-3.0-or-later
// What the stereo core costs per frame, and what its bare arithmetic would.
#include "bench/BenchSignals.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "vocoder/core/BodeVocoder.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::Processor::BodeVocoder;

/// A core with every band open, driven as the player would: speech in, chord in.
class CoreRig {
public:
    explicit CoreRig(const Velmora::Processor::VocoderKernels& kernels)
        : core(std::make_unique<BodeVocoder>()) {
        core->UseKernels(kernels);
        core->SeedNoise(1);
        SetPlayingParameters(*core);
        core->Initialize(sampleRate, blockSize);
        for (auto& buffer : outputs) {
            buffer.assign(blockSize, 0.0F);
        }
    }

    void RunBlock(const StereoSignal& carrier, const StereoSignal& modulator, std::size_t block) {
        const std::size_t at = block * blockSize;
        const float* inputs[11] = {carrier.left.data() + at, carrier.right.data() + at};
        const float* aux[2] = {modulator.left.data() + at, modulator.right.data() + at};
        float* outs[6];
        for (std::size_t i = 0; i < 6; ++i) {
            outs[i] = outputs[i].data();
        }
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs;
        context.numInputs = 11;
        context.auxInputs = aux;
        context.numAuxInputs = 2;
        context.outputs = outs;
        context.numOutputs = 6;
        context.numFrames = blockSize;
        Velmora::dsp::RunChild(*core, context);
        benchmark::DoNotOptimize(outputs[0][0]);
    }

private:
    std::unique_ptr<BodeVocoder> core;
    std::vector<float> outputs[6];
};

void StereoCore(benchmark::State& state, bool voiced) {
    const auto sets = Velmora::Processor::AvailableVocoderKernels();
    const auto index = static_cast<std::size_t>(state.range(0));
    if (index >= sets.size()) {
        state.SkipWithError("this processor has no such instruction set");
        return;
    }
    const Velmora::dsp::DenormalGuard guard;
    const StereoSignal modulator = voiced ? Vowels() : Fricatives();
    const StereoSignal carrier = Chord();
    CoreRig rig(*sets[index]);
    std::size_t block = 0;
    for (auto _ : state) {
        rig.RunBlock(carrier, modulator, block);
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
    state.SetLabel(sets[index]->name);
}

void CoreOnVoicedSpeech(benchmark::State& state) { StereoCore(state, true); }
void CoreOnUnvoicedSpeech(benchmark::State& state) { StereoCore(state, false); }

BENCHMARK(CoreOnVoicedSpeech)->DenseRange(0, 2);
BENCHMARK(CoreOnUnvoicedSpeech)->DenseRange(0, 2);

} // namespace
