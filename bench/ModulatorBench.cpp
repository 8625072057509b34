// SPDX-License-Identifier: GPL-3.0-or-later
// The whole modulator per stereo frame: at rest, with a sample, with the external input, with its tone
// stages.
#include "bench/BenchSignals.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "vocoder/modulator/VocoderModulator.h"

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::u32;
using Velmora::Processor::VocoderModulator;

class Modulator {
public:
    Modulator() : voice(Chord()) {
        for (auto& channel : channels) {
            channel.assign(blockSize, 0.0F);
        }
        SetOwn(VocoderModulator::ExternalInputGain, 0.0F);
        modulator->Initialize(sampleRate, blockSize);
        RunBlock();
    }

    void SetOwn(VocoderModulator::Parameter index, float value) {
        modulator->SetParameterValue(VocoderModulator::ParameterId(index), value);
    }
    /// Gives the sampler a sound, as the manager would once it is loaded, and plays it in a loop.
    void PlayLoop() {
        using Velmora::dsp::Sampler;
        auto left = std::vector<float>(voice.left.begin(), voice.left.end());
        auto right = std::vector<float>(voice.right.begin(), voice.right.end());
        sample = std::make_shared<const Velmora::dsp::SampleData>(
            std::move(left), std::move(right), sampleRate, Velmora::dsp::SampleData::Instrument{});
        modulator->Section<VocoderModulator::Player>().SetSample(sample, 0);
        modulator->SetParameterValue(Sampler::SlotId(Velmora::dsp::SlotParameter::Gain, 0), 0.0F);
        SetOwn(VocoderModulator::SampleLoopOn, 1.0F);
        RunBlock();
        modulator->NoteOn(36);
    }
    void RunBlock() {
        const std::size_t at = block * blockSize;
        const std::array<const float*, 2> in{voice.left.data() + at, voice.right.data() + at};
        const std::array<float*, 3> out{channels[0].data(), channels[1].data(), channels[2].data()};
        Velmora::dsp::ProcessContext context;
        context.inputs = in.data();
        context.numInputs = 2;
        context.outputs = out.data();
        context.numOutputs = 3;
        context.numFrames = blockSize;
        Velmora::dsp::RunChild(*modulator, context);
        block = (block + 1) % blocksPerSignal;
    }
    void Measure(benchmark::State& state) {
        const Velmora::dsp::DenormalGuard guard;
        for (int settling = 0; settling < 500; ++settling) {
            RunBlock();
        }
        for (auto _ : state) {
            RunBlock();
            benchmark::ClobberMemory();
        }
        ReportPerFrame(state, blockSize);
    }

private:
    StereoSignal voice;
    std::shared_ptr<const Velmora::dsp::SampleData> sample;
    std::unique_ptr<VocoderModulator> modulator = std::make_unique<VocoderModulator>();
    std::array<std::vector<float>, 3> channels;
    std::size_t block = 0;
};

void AtRest(benchmark::State& state) { Modulator().Measure(state); }

void Sample(benchmark::State& state) {
    Modulator modulator;
    modulator.PlayLoop();
    modulator.Measure(state);
}

void SampleWithTone(benchmark::State& state) {
    Modulator modulator;
    modulator.PlayLoop();
    modulator.SetOwn(VocoderModulator::ParamEQOn, 1.0F);
    modulator.SetOwn(VocoderModulator::CompressorOn, 1.0F);
    modulator.Measure(state);
}

void ExternalInput(benchmark::State& state) {
    Modulator modulator;
    modulator.SetOwn(VocoderModulator::ExternalInput, 1.0F);
    modulator.Measure(state);
}

BENCHMARK(AtRest)->Name("Modulator at rest");
BENCHMARK(Sample)->Name("Modulator with a sample");
BENCHMARK(SampleWithTone)->Name("Modulator with a sample, equaliser and compressor");
BENCHMARK(ExternalInput)->Name("Modulator with the external input");

} // namespace
