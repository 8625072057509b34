// SPDX-License-Identifier: GPL-3.0-or-later
// The chorus as the ensemble and in its other states, a stereo frame each, 44 frames a block.
#include "bench/MeasureModule.h"
#include "dsp/effects/chorus/Chorus.h"

namespace orphia::bench {
namespace {

using Velmora::dsp::Chorus;

void Ensemble(benchmark::State& state) {
    Measure<Chorus>(state, {{Chorus::Voices, 3.0F}, {Chorus::Feedback, 0.194F}});
}
void FourVoices(benchmark::State& state) { Measure<Chorus>(state, {{Chorus::Voices, 4.0F}}); }
void Drifting(benchmark::State& state) {
    Measure<Chorus>(state, {{Chorus::Drift, 1.0F}, {Chorus::LFOShape, 3.0F}});
}
/// "DryWet" and "Freq" move.
void Modulated(benchmark::State& state) { Measure<Chorus>(state, {}, {.inputs = {2, 4}}); }

BENCHMARK(Ensemble)->Name("Chorus ensemble");
BENCHMARK(FourVoices)->Name("Chorus four voices");
BENCHMARK(Drifting)->Name("Chorus random shape and drift");
BENCHMARK(Modulated)->Name("Chorus modulated");

} // namespace
} // namespace orphia::bench
