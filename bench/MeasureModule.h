// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "bench/BenchSignals.h"
#include "dsp/framework/Module.h"

#include <initializer_list>
#include <utility>
#include <vector>

namespace orphia::bench {

/// Ids of parameters, and their real values.
using Settings = std::initializer_list<std::pair<unsigned, float>>;

/// Modulation inputs that get another value in each block, by turns these two, so that nothing ever settles.
struct Movement {
    std::vector<unsigned> inputs;
    float first = 0.1F;
    float second = -0.1F;
};

/// Runs a module, which is ready, on a signal that repeats, block by block, and reports its time per frame.
/// Only its first two inputs and outputs have sound.
void MeasureModule(benchmark::State& state, Velmora::dsp::Module& module,
                   const StereoSignal& signal = Chord(), const Movement& movement = {});

/// The same with a new module of the class.
template <class M>
void Measure(benchmark::State& state, Settings settings = {}, const Movement& movement = {},
             const StereoSignal& signal = Chord()) {
    M module;
    module.Initialize(sampleRate, blockSize);
    for (const auto& [id, value] : settings) {
        module.SetParameterValue(id, value);
    }
    MeasureModule(state, module, signal, movement);
}

} // namespace orphia::bench
