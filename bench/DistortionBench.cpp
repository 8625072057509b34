// SPDX-License-Identifier: GPL-3.0-or-later
// The overdrive and the bit crusher, a stereo frame each, 44 frames a block.
#include "bench/MeasureModule.h"
#include "dsp/effects/bitcrusher/BitCrusher.h"
#include "dsp/effects/distortion/TubeScreamer808.h"

namespace orphia::bench {
namespace {

using Velmora::dsp::BitCrusher;
using Velmora::dsp::TubeScreamer808;

void Overdrive(benchmark::State& state) { Measure<TubeScreamer808>(state); }
void OverdriveModulated(benchmark::State& state) { Measure<TubeScreamer808>(state, {}, {.inputs = {2, 3}}); }
void Crusher(benchmark::State& state) { Measure<BitCrusher>(state, {{BitCrusher::Split, 17.0F}}); }
void CrusherFast(benchmark::State& state) {
    Measure<BitCrusher>(state, {{BitCrusher::SampleRate, 40000.0F}, {BitCrusher::AntiAlias, 1.0F}});
}
void CrusherUnheld(benchmark::State& state) {
    Measure<BitCrusher>(state, {{BitCrusher::SampleRate, 48000.0F}});
}
void CrusherModulated(benchmark::State& state) { Measure<BitCrusher>(state, {}, {.inputs = {2, 3}}); }

BENCHMARK(Overdrive)->Name("TS808");
BENCHMARK(OverdriveModulated)->Name("TS808 modulated");
BENCHMARK(Crusher)->Name("BitCrusher");
BENCHMARK(CrusherFast)->Name("BitCrusher at 40 kHz, filtered");
BENCHMARK(CrusherUnheld)->Name("BitCrusher without hold");
BENCHMARK(CrusherModulated)->Name("BitCrusher modulated");

} // namespace
} // namespace orphia::bench
