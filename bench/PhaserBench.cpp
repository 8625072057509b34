// SPDX-License-Identifier: GPL-3.0-or-later
// The phaser and the multi-mode filter, a stereo frame each, 44 frames a block.
#include "bench/MeasureModule.h"
#include "dsp/effects/filter/MultiModeFilterPresetChromataFX.h"
#include "dsp/effects/phaser/Phaser.h"

namespace orphia::bench {
namespace {

using Velmora::dsp::Phaser;
using Filter = Velmora::dsp::MultiModeFilterPresetChromataFX;

void SixStages(benchmark::State& state) { Measure<Phaser>(state); }
void SixStagesStill(benchmark::State& state) { Measure<Phaser>(state, {{Phaser::Depth, 0.0F}}); }
void SixteenStages(benchmark::State& state) {
    Measure<Phaser>(state, {{Phaser::Stages, 16.0F}, {Phaser::Drive, 6.0F}}, {.inputs = {2}});
}
void FilterAtStart(benchmark::State& state) { Measure<Filter>(state); }
void FilterStill(benchmark::State& state) { Measure<Filter>(state, {{Filter::EnvAmount, 0.0F}}); }
void SteepFilter(benchmark::State& state) {
    Measure<Filter>(state, {{Filter::Slope, 1.0F}, {Filter::Drive, 6.0F}}, {.inputs = {2}});
}

BENCHMARK(SixStages)->Name("Phaser six stages");
BENCHMARK(SixStagesStill)->Name("Phaser six stages still");
BENCHMARK(SixteenStages)->Name("Phaser sixteen stages driven and modulated");
BENCHMARK(FilterAtStart)->Name("Filter 12 dB with envelope");
BENCHMARK(FilterStill)->Name("Filter 12 dB still");
BENCHMARK(SteepFilter)->Name("Filter 24 dB driven and modulated");

} // namespace
} // namespace orphia::bench
