// SPDX-License-Identifier: GPL-3.0-or-later
// The whole instrument through its library, one block after the other.
#include "bench/BenchSignals.h"
#include "bench/PlayedInstrument.h"

namespace orphia::bench {
namespace {

using Load = PlayedInstrument::Load;

/// Reports nanoseconds per frame, and the share of one core in real time at the rate.
void Measure(benchmark::State& state, Load load, unsigned keys) {
    const auto rate = static_cast<std::uint32_t>(state.range(0));
    PlayedInstrument played(rate, load, keys);
    for (auto _ : state) {
        played.RunBlock();
        benchmark::ClobberMemory();
    }
    if (played.IsHeard() != (load != Load::Idle)) {
        state.SkipWithError("sound and load do not fit");
    }
    const auto frames = static_cast<double>(state.iterations()) * played.Engine().FramesPerBlock();
    state.counters["s/frame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["core"] =
        benchmark::Counter(frames / rate, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void InstrumentIdle(benchmark::State& state) { Measure(state, Load::Idle, 0); }
void InstrumentVoices(benchmark::State& state) {
    Measure(state, Load::Voices, static_cast<unsigned>(state.range(1)));
}
void InstrumentEverything(benchmark::State& state) { Measure(state, Load::Everything, 32); }

BENCHMARK(InstrumentIdle)->ArgName("rate")->Arg(44100)->Arg(96000);
BENCHMARK(InstrumentVoices)->ArgNames({"rate", "keys"})->ArgsProduct({{44100, 96000}, {1, 8, 32}});
BENCHMARK(InstrumentEverything)->ArgName("rate")->Arg(44100)->Arg(96000);

} // namespace
} // namespace orphia::bench
