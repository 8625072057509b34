// SPDX-License-Identifier: GPL-3.0-or-later
// The equaliser with five bands on, settled and moving, a stereo frame each, and what listens to the
// modulator's input, 44 frames a block.
#include "bench/MeasureModule.h"
#include "dsp/effects/equaliser/ParamEq.h"
#include "dsp/meters/InputDetector.h"
#include "dsp/meters/VuMeter.h"

namespace orphia::bench {
namespace {

using Velmora::dsp::InputDetector;
using Velmora::dsp::VuMeter;
using Eq = Velmora::dsp::ParamEq<5>;

void RunEq(benchmark::State& state, const Movement& movement) {
    Eq eq;
    eq.Initialize(sampleRate, blockSize);
    constexpr float modes[] = {3.0F, 4.0F, 4.0F, 4.0F, 5.0F};
    constexpr float cutoffs[] = {120.0F, 400.0F, 1200.0F, 3500.0F, 8000.0F};
    for (unsigned band = 0; band < 5; ++band) {
        eq.SetParameterValue(Eq::OnId(band), 1.0F);
        eq.SetParameterValue(Eq::ModeId(band), modes[band]);
        eq.SetParameterValue(Eq::CutoffId(band), cutoffs[band]);
        eq.SetParameterValue(Eq::GainId(band), 6.0F);
        eq.SetParameterValue(Eq::QId(band), 1.0F);
    }
    MeasureModule(state, eq, Chord(), movement);
}

void Settled(benchmark::State& state) { RunEq(state, {}); }
/// The gain and the cutoff of every band change with each block.
void Moving(benchmark::State& state) {
    RunEq(state, {.inputs = {2, 3, 4, 5, 6, 7}, .first = -0.01F, .second = -0.02F});
}
void Detector(benchmark::State& state) { Measure<InputDetector>(state, {}, {}, Vowels()); }
void Meter(benchmark::State& state) { Measure<VuMeter>(state, {}, {}, Vowels()); }

BENCHMARK(Settled)->Name("ParamEq five bands");
BENCHMARK(Moving)->Name("ParamEq five bands moving");
BENCHMARK(Detector)->Name("InputDetector");
BENCHMARK(Meter)->Name("VuMeter");

} // namespace
} // namespace orphia::bench
