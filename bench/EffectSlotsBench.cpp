// SPDX-License-Identifier: GPL-3.0-or-later
// The effect section: with nothing in its slots, and with each type in one of them at its start values.
#include "bench/MeasureModule.h"
#include "processor/effects/FXContainer.h"

#include <memory>

namespace orphia::bench {
namespace {

using Velmora::u32;
using Velmora::Processor::FXContainer;
using Velmora::Processor::FXVariant;

/// The parameters are those of the section.
void MeasureSection(benchmark::State& state, Settings settings) {
    const auto effects = std::make_unique<FXContainer>();
    effects->Initialize(sampleRate, blockSize);
    for (const auto& [id, value] : settings) {
        effects->SetParameterValue(id, value);
    }
    MeasureModule(state, *effects);
}

constexpr u32 enable = FXContainer::ParameterId(FXContainer::Enable);

/// Series and parallel.
void Empty(benchmark::State& state) {
    MeasureSection(state,
                   {{enable, 1.0F},
                    {FXContainer::ParameterId(FXContainer::Routing), state.range(0) != 0 ? 1.0F : 0.0F}});
}

void Off(benchmark::State& state) { MeasureSection(state, {{enable, 0.0F}}); }

/// The other slots are empty.
void OneType(benchmark::State& state) {
    constexpr u32 type = FXContainer::SlotId(0, FXVariant::ParameterId(FXVariant::ModuleType));
    MeasureSection(state, {{enable, 1.0F}, {type, static_cast<float>(state.range(0))}});
    state.SetLabel(FXVariant::typeNames[static_cast<std::size_t>(state.range(0))]);
}

BENCHMARK(Empty)->Name("Effect slots empty, series and parallel")->Arg(0)->Arg(1);
BENCHMARK(Off)->Name("Effect slots off");
BENCHMARK(OneType)->Name("Effect slot of type")->DenseRange(1, FXVariant::typeCount - 1);

} // namespace
} // namespace orphia::bench
