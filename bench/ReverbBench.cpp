// SPDX-License-Identifier: GPL-3.0-or-later
// The plate reverb with controls at rest, under modulation, and while its size glides, and in silence: a
// stereo frame each, 44 frames a block.
#include "bench/MeasureModule.h"
#include "dsp/effects/reverb/Reverb.h"

namespace orphia::bench {
namespace {

using Velmora::dsp::Reverb;

void AtRest(benchmark::State& state) { Measure<Reverb>(state); }
void MixModulated(benchmark::State& state) { Measure<Reverb>(state, {}, {.inputs = {2}}); }
void DecayModulated(benchmark::State& state) { Measure<Reverb>(state, {}, {.inputs = {5}}); }
void SizeModulated(benchmark::State& state) { Measure<Reverb>(state, {}, {.inputs = {4}}); }
void InSilence(benchmark::State& state) {
    const std::vector<float> zeros(blocksPerSignal * blockSize);
    Measure<Reverb>(state, {}, {}, {.left = zeros, .right = zeros});
}

BENCHMARK(AtRest)->Name("Reverb at rest");
BENCHMARK(MixModulated)->Name("Reverb mix modulated");
BENCHMARK(DecayModulated)->Name("Reverb decay modulated");
BENCHMARK(SizeModulated)->Name("Reverb size gliding");
BENCHMARK(InSilence)->Name("Reverb in silence");

} // namespace
} // namespace orphia::bench
