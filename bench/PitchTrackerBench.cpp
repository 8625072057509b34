// SPDX-License-Identifier: GPL-3.0-or-later
// The pitch tracker on a voice, 44 frames a block: on average, and the one block in 23 that ends a window.
#include "bench/BenchSignals.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "dsp/pitch/PitchTracker.h"
#include "support/platform/Platform.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::dsp::PitchTracker;

constexpr std::size_t windowLength = 1024;

/// Runs the tracker over a signal that repeats.
class Run {
public:
    Run() {
        tracker.Initialize(sampleRate, blockSize);
        context.outputs = outputs;
        context.numInputs = 2;
        context.numOutputs = 1;
        context.numFrames = blockSize;
    }

    /// True when the block ends a window.
    bool Block() {
        const float* inputs[] = {voice.left.data() + block * blockSize,
                                 voice.right.data() + block * blockSize};
        context.inputs = inputs;
        Velmora::dsp::RunChild(tracker, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
        position += blockSize;
        const bool endsWindow = position >= windowLength;
        position %= windowLength;
        return endsWindow;
    }

private:
    const Velmora::dsp::DenormalGuard guard;
    PitchTracker tracker;
    const StereoSignal voice = Vowels();
    std::vector<float> pitch = std::vector<float>(blockSize);
    float* outputs[1] = {pitch.data()};
    Velmora::dsp::ProcessContext context;
    std::size_t block = 0;
    std::size_t position = 0;
};

void AverageBlock(benchmark::State& state) {
    Run run;
    for (auto _ : state) {
        run.Block();
    }
    ReportPerFrame(state, blockSize);
}

void WorstBlock(benchmark::State& state) {
    Run run;
    double total = 0.0;
    for (auto _ : state) {
        Velmora::u64 start = 0;
        do {
            start = Velmora::Platform::ThreadNanoseconds();
        } while (!run.Block());
        const double time = static_cast<double>(Velmora::Platform::ThreadNanoseconds() - start) * 1e-9;
        state.SetIterationTime(time);
        total += time;
    }
    state.counters["block_share"] =
        benchmark::Counter(total * sampleRate / blockSize, benchmark::Counter::kAvgIterations);
}

void Rebuild(benchmark::State& state) {
    PitchTracker tracker;
    Velmora::dsp::ProcessContext context;
    bool isShort = false;
    tracker.Initialize(sampleRate, blockSize);
    for (auto _ : state) {
        isShort = !isShort;
        tracker.SetParameterValue(PitchTracker::AnalysisWindowSize, isShort ? 512.0F : 1024.0F);
        tracker.UpdateParameters(context);
    }
}

BENCHMARK(AverageBlock)->Name("PitchTracker average block");
BENCHMARK(WorstBlock)->Name("PitchTracker block that ends a window")->UseManualTime();
BENCHMARK(Rebuild)->Name("PitchTracker change of the window");

} // namespace
