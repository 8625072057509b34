// SPDX-License-Identifier: GPL-3.0-or-later
// The effect section: with nothing in its slots, and with each type in one of them at its start values.
#include "BenchSignals.h"
#include "dsp/DenormalGuard.h"
#include "dsp/RunChild.h"
#include "processor/FXContainer.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::u32;
using Velmora::Processor::FXContainer;
using Velmora::Processor::FXVariant;

std::unique_ptr<FXContainer> Make() {
    auto effects = std::make_unique<FXContainer>();
    effects->Initialize(sampleRate, blockSize);
    return effects;
}

void Set(FXContainer& effects, u32 slot, FXVariant::Additional index, u32 value) {
    effects.SetParameterValue(FXContainer::SlotId(slot, FXVariant::ParameterId(index)),
                              static_cast<float>(value));
}

void Run(benchmark::State& state, FXContainer& effects) {
    const Velmora::dsp::DenormalGuard guard;
    const StereoSignal chord = Chord();
    std::vector<float> left(blockSize);
    std::vector<float> right(blockSize);
    float* outputs[] = {left.data(), right.data()};
    Velmora::dsp::ProcessContext context;
    context.outputs = outputs;
    context.numInputs = 2;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        const float* inputs[] = {chord.left.data() + block * blockSize,
                                 chord.right.data() + block * blockSize};
        context.inputs = inputs;
        Velmora::dsp::RunChild(effects, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

/// Series and parallel.
void Empty(benchmark::State& state) {
    const auto effects = Make();
    effects->SetParameterValue(FXContainer::ParameterId(FXContainer::Routing),
                               static_cast<float>(state.range(0)));
    Run(state, *effects);
}

void Off(benchmark::State& state) {
    const auto effects = Make();
    effects->SetParameterValue(FXContainer::ParameterId(FXContainer::Enable), 0.0F);
    Run(state, *effects);
}

/// The other slots are empty.
void OneType(benchmark::State& state) {
    const auto effects = Make();
    Set(*effects, 0, FXVariant::ModuleType, static_cast<u32>(state.range(0)));
    Run(state, *effects);
}

BENCHMARK(Empty)->Name("Effect slots empty, series and parallel")->Arg(0)->Arg(1);
BENCHMARK(Off)->Name("Effect slots off");
BENCHMARK(OneType)->Name("Effect slot of type")->DenseRange(1, FXVariant::typeCount - 1);

} // namespace
