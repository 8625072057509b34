// SPDX-License-Identifier: GPL-3.0-or-later
// The parts of an oscillator, each by itself, and those of a saw in a row, 44 frames a block. Arguments of
// the shapes: frequency in Hz; flags 1 FM, 2 hard sync, 4 pulse width modulation.
#include "bench/BenchSignals.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "dsp/oscillators/PolyBlepPhaseGen.h"
#include "dsp/oscillators/PolyBlepPostFilter.h"
#include "dsp/oscillators/PolyBlepShape.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace orphia::bench;
using namespace Velmora::dsp;
using Velmora::u32;

constexpr std::int64_t fmFlag = 1;
constexpr std::int64_t syncFlag = 2;
constexpr std::int64_t widthFlag = 4;

/// Channels of one block, or of many blocks in a row.
class Channels {
public:
    Channels(std::size_t channelCount, std::size_t blocks) {
        for (std::size_t c = 0; c < channelCount; ++c) {
            samples.emplace_back(blocks * blockSize, 0.0F);
        }
    }
    float* At(std::size_t channel, std::size_t block) { return samples[channel].data() + block * blockSize; }

    std::vector<std::vector<float>> samples;
};

template <class M>
void RunBlock(M& module, const std::vector<const float*>& inputs, const std::vector<float*>& outputs) {
    ProcessContext context;
    context.inputs = inputs.data();
    context.numInputs = static_cast<u32>(inputs.size());
    context.outputs = outputs.data();
    context.numOutputs = static_cast<u32>(outputs.size());
    context.numFrames = blockSize;
    RunChild(module, context);
}

void PrepareGenerator(PolyBlepPhaseGen& generator, float frequency, bool master, bool slave, bool fm) {
    generator.Initialize(sampleRate, blockSize);
    generator.SetParameterValue(PolyBlepPhaseGen::On, 1.0F);
    generator.SetParameterValue(PolyBlepPhaseGen::Frequency, frequency);
    generator.SetParameterValue(PolyBlepPhaseGen::HSMaster, master ? 1.0F : 0.0F);
    generator.SetParameterValue(PolyBlepPhaseGen::HSSlave, slave ? 1.0F : 0.0F);
    generator.SetParameterValue(PolyBlepPhaseGen::FMOn, fm ? 1.0F : 0.0F);
}

/// Arguments: master, slave, FM.
void Generator(benchmark::State& state) {
    PolyBlepPhaseGen generator;
    PrepareGenerator(generator, 440.0F, state.range(0) != 0, state.range(1) != 0, state.range(2) != 0);
    Channels work(6, 1);
    const std::vector<const float*> inputs{work.At(2, 0), work.At(3, 0), work.At(4, 0), work.At(5, 0)};
    const std::vector<float*> outputs{work.At(0, 0), work.At(1, 0), work.At(2, 0), work.At(3, 0),
                                      work.At(4, 0)};
    for (auto _ : state) {
        RunBlock(generator, inputs, outputs);
        benchmark::ClobberMemory();
    }
    ReportPerFrame(state, blockSize);
}

/// Phases of a slave at the given frequency, its master a fifth below; channel 5 is a width.
Channels Phases(float frequency) {
    Channels signal(6, blocksPerSignal);
    PolyBlepPhaseGen master;
    PolyBlepPhaseGen slave;
    PrepareGenerator(master, frequency / 1.5F, true, false, false);
    PrepareGenerator(slave, frequency, false, true, false);
    for (std::size_t b = 0; b < blocksPerSignal; ++b) {
        std::vector<float*> outputs;
        for (std::size_t c = 0; c < 5; ++c) {
            outputs.push_back(signal.At(c, b));
        }
        RunBlock(master, {}, outputs);
        RunBlock(slave, {signal.At(2, b), signal.At(3, b), signal.At(4, b), nullptr}, outputs);
    }
    signal.samples[5].assign(blocksPerSignal * blockSize, 0.3F);
    return signal;
}

template <class M>
void Shape(benchmark::State& state) {
    const DenormalGuard guard;
    Channels signal = Phases(static_cast<float>(state.range(0)));
    M shape;
    shape.Initialize(sampleRate, blockSize);
    const auto flag = [&](std::int64_t mask) { return (state.range(1) & mask) != 0 ? 1.0F : 0.0F; };
    shape.SetParameterValue(M::On, 1.0F);
    shape.SetParameterValue(M::AAOn, 1.0F);
    shape.SetParameterValue(M::FMOn, flag(fmFlag));
    shape.SetParameterValue(M::HSSlave, flag(syncFlag));
    if constexpr (M::parameterCount > 5) {
        shape.SetParameterValue(M::PWMOn, flag(widthFlag));
        shape.SetParameterValue(M::PulseWidth, 0.5F);
    }
    Channels out(1, 1);
    std::vector<const float*> inputs(shape.numInputs);
    std::size_t block = 0;
    for (auto _ : state) {
        for (std::size_t c = 0; c < inputs.size(); ++c) {
            inputs[c] = signal.At(c, block);
        }
        RunBlock(shape, inputs, {out.At(0, 0)});
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

void PostFilter(benchmark::State& state) {
    PolyBlepPostFilter filter;
    filter.Initialize(sampleRate, blockSize);
    filter.SetParameterValue(PolyBlepPostFilter::On, 1.0F);
    Channels signal(1, 1);
    for (auto _ : state) {
        RunBlock(filter, {signal.At(0, 0)}, {signal.At(0, 0)});
        benchmark::ClobberMemory();
    }
    ReportPerFrame(state, blockSize);
}

/// Phase, saw and post filter, as a voice runs them.
void SawChain(benchmark::State& state) {
    PolyBlepPhaseGen generator;
    PolyBlepSaw saw;
    PolyBlepPostFilter filter;
    PrepareGenerator(generator, static_cast<float>(state.range(0)), false, false, false);
    saw.Initialize(sampleRate, blockSize);
    filter.Initialize(sampleRate, blockSize);
    saw.SetParameterValue(PolyBlepSaw::On, 1.0F);
    saw.SetParameterValue(PolyBlepSaw::AAOn, 1.0F);
    filter.SetParameterValue(PolyBlepPostFilter::On, 1.0F);
    Channels work(7, 1);
    const std::vector<const float*> inputs{work.At(2, 0), work.At(3, 0), work.At(4, 0), work.At(5, 0)};
    const std::vector<float*> phases{work.At(0, 0), work.At(1, 0), work.At(2, 0), work.At(3, 0),
                                     work.At(4, 0)};
    const std::vector<const float*> shapeInputs(phases.begin(), phases.end());
    for (auto _ : state) {
        RunBlock(generator, inputs, phases);
        RunBlock(saw, shapeInputs, {work.At(6, 0)});
        RunBlock(filter, {work.At(6, 0)}, {work.At(6, 0)});
        benchmark::ClobberMemory();
    }
    ReportPerFrame(state, blockSize);
}

BENCHMARK(Generator)->Name("PhaseGen")->ArgsProduct({{0, 1}, {0, 1}, {0, 1}});
BENCHMARK(Shape<PolyBlepSaw>)->Name("Saw")->ArgsProduct({{110, 440, 3520}, {0, 1, 2, 3}});
BENCHMARK(Shape<PolyBlepSquare>)->Name("Square")->ArgsProduct({{110, 440, 3520}, {0, 2, 4, 7}});
BENCHMARK(Shape<PolyBlepTriangle>)->Name("Triangle")->ArgsProduct({{110, 440, 3520}, {0, 2, 4, 7}});
BENCHMARK(PostFilter)->Name("PostFilter");
BENCHMARK(SawChain)->Name("SawChain")->Arg(110)->Arg(440)->Arg(3520);

} // namespace
