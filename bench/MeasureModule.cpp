// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/MeasureModule.h"

#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"

#include <algorithm>
#include <array>

namespace orphia::bench {

void MeasureModule(benchmark::State& state, Velmora::dsp::Module& module, const StereoSignal& signal,
                   const Movement& movement) {
    const Velmora::dsp::DenormalGuard guard;
    std::vector<float> left(blockSize);
    std::vector<float> right(blockSize);
    const std::array<float*, 2> outputs{left.data(), right.data()};
    // The frame in front of a modulation tells that it is in use.
    std::vector<float> modulation(blockSize + 1, 1.0F);
    std::vector<const float*> inputs(std::max(module.numInputs, 2U), nullptr);
    for (const unsigned input : movement.inputs) {
        inputs.at(input) = modulation.data() + 1;
    }
    Velmora::dsp::ProcessContext context;
    context.inputs = inputs.data();
    context.outputs = outputs.data();
    context.numInputs = movement.inputs.empty() ? std::min(module.numInputs, 2U) : module.numInputs;
    context.numOutputs = std::min(module.numOutputs, 2U);
    context.numFrames = blockSize;
    std::size_t block = 0;
    for (auto _ : state) {
        modulation[1] = block % 2 == 0 ? movement.first : movement.second;
        inputs[0] = signal.left.data() + block * blockSize;
        inputs[1] = signal.right.data() + block * blockSize;
        Velmora::dsp::RunChild(module, context);
        benchmark::ClobberMemory();
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
}

} // namespace orphia::bench
