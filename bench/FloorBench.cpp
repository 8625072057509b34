// SPDX-License-Identifier: GPL-3.0-or-later
// The floor under the core: the arithmetic of both filter banks, rectifiers and amplifiers of two channels
// and nothing else. No modules, no parameters, no buffers per band, no noise, no high-frequency path.
#include "bench/BenchSignals.h"
#include "dsp/math/DenormalGuard.h"
#include "vocoder/core/banks/AnalyzerRectifiers.h"
#include "vocoder/core/banks/FilterBanks.h"
#include "vocoder/core/kernels/VocoderKernels.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace orphia::bench;
using namespace Velmora::Processor;

/// One channel's state, with the coefficients of the instrument.
struct Channel {
    BiquadLanes analysis;
    BiquadLanes synthesis;
    RectifierLanes rectifiers;
    AmplifierLanes amplifiers;

    Channel() {
        const BandPlan plan(BandPlan::lowestEdge, 0.0F);
        for (unsigned band = 0; band < bandCount; ++band) {
            for (unsigned stage = 0; stage < stageCount; ++stage) {
                const float* hz = stage == 0 ? plan.stage1Hz : plan.stage2Hz;
                SetBandPass(stage, band, band == 0 ? plan.lowPassHz : hz[band - 1],
                            band == 0 ? BandPlan::lowPassQ : plan.bandPassQ);
            }
            RectifierCircuit(RectifierCircuit::OtherBand, sampleRate).WriteTo(rectifiers, band);
            amplifiers.gain[band] = 100000.0F;
        }
        synthesis = analysis;
        rectifiers.attackCoefficient = 1.0 - std::exp(-1.0 / (0.005 * sampleRate));
        rectifiers.releaseCoefficient = 1.0 - std::exp(-1.0 / (0.04 * sampleRate));
    }

    void SetBandPass(unsigned stage, unsigned band, float hz, float q) {
        const float w = 6.2831855F * hz / sampleRate;
        const float alpha = std::sin(w) * 0.5F / q;
        const float n = 1.0F / (1.0F + alpha);
        analysis.b0[stage][band] = -1.7857F * alpha * n;
        analysis.b2[stage][band] = 1.7857F * alpha * n;
        analysis.pull[stage][band] = (2.0F - 2.0F * std::cos(w)) * n;
        analysis.carry[stage][band] = 2.0F * std::cos(w) * n - 1.0F;
    }
};

/// A straight line is all that the saturation of the buses costs beside sixteen bands.
void Drive(const float* bus, float* out, unsigned frames) {
    for (unsigned n = 0; n < frames; ++n) {
        out[n] = 0.287F * bus[n];
    }
}

/// The bands side by side all the way: this is what no exchange of band buffers can beat.
void RunTile(const VocoderKernels& kernels, Channel& channel, const float* program, const float* carrier,
             const float* noise, float* out) {
    constexpr unsigned frames = LaneTile::maxFrames;
    LaneTile controls;
    LaneTile envelopes;
    float carrierBus[frames];
    float noiseBus[frames];
    Drive(carrier, carrierBus, frames);
    Drive(noise, noiseBus, frames);
    kernels.runBankOnOneInput(channel.analysis, program, controls.Data(), frames);
    kernels.runRectifiers(channel.rectifiers, controls.Data(), envelopes.Data(), frames);
    kernels.synthesize(channel.synthesis, {channel.amplifiers, carrierBus, noiseBus, envelopes}, controls,
                       frames, out);
}

void Floor(benchmark::State& state) {
    const auto sets = AvailableVocoderKernels();
    const auto index = static_cast<std::size_t>(state.range(0));
    if (index >= sets.size()) {
        state.SkipWithError("this processor has no such instruction set");
        return;
    }
    const Velmora::dsp::DenormalGuard guard;
    const StereoSignal modulator = Vowels();
    const StereoSignal carrier = Chord();
    const StereoSignal noise = Fricatives();
    Channel left;
    Channel right;
    constexpr unsigned frames = LaneTile::maxFrames;
    float out[frames];
    std::size_t at = 0;
    for (auto _ : state) {
        RunTile(*sets[index], left, modulator.left.data() + at, carrier.left.data() + at,
                noise.left.data() + at, out);
        benchmark::DoNotOptimize(out);
        RunTile(*sets[index], right, modulator.right.data() + at, carrier.right.data() + at,
                noise.right.data() + at, out);
        benchmark::DoNotOptimize(out);
        at = (at + frames) % (frames * (blocksPerSignal * blockSize / frames));
    }
    ReportPerFrame(state, frames);
    state.SetLabel(sets[index]->name);
}

BENCHMARK(Floor)->DenseRange(0, 2);

} // namespace
