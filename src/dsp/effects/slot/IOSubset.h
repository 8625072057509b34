// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "dsp/framework/RunChild.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// Shows only the first inputs and outputs of a module M, which has at least as many. The other inputs of M
/// are absent; what it writes to its other outputs is dropped. Parameters are those of M.
template <class M, u32 inputs, u32 outputs>
class IOSubset final : public ModuleContainer<M> {
public:
    static constexpr u32 parameterCount = M::parameterCount;
    static constexpr auto modulationInputs = M::modulationInputs;
    static constexpr u32 inputCount = inputs;
    static constexpr auto slotSignals = M::slotSignals;

    /// Carries no prefix of its own: moduleName is that of M.
    explicit IOSubset(std::string moduleName)
        : ModuleContainer<M>({}, inputs, outputs, {}, std::make_tuple(std::move(moduleName))),
          childOutputs(std::max(outputs, Inner().numOutputs)) {}

    M& Inner() { return this->template Child<0>(); }
    u32 Latency() requires requires(M& module) { module.Latency(); }
    { return Inner().Latency(); }

    void OnInitialize(float /*sampleRate*/, u32 maxBlockSize) override {
        const auto dropped = static_cast<u32>(childOutputs.size()) - outputs;
        droppedOutputs.Allocate(dropped, maxBlockSize);
        for (u32 i = 0; i < dropped; ++i) {
            childOutputs[outputs + i] = droppedOutputs[i];
        }
    }
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(ProcessContext& /*context*/) override { return true; }
    bool Process(ProcessContext& context) override {
        if (context.numOutputs < outputs) {
            return false;
        }
        std::copy_n(context.outputs, outputs, childOutputs.begin());
        ProcessContext child = context.ForChild(context.inputs, std::min(inputs, context.numInputs),
                                                childOutputs.data(), static_cast<u32>(childOutputs.size()));
        return RunChild(Inner(), child);
    }

private:
    std::vector<float*> childOutputs;
    BlockPool droppedOutputs;
};

} // namespace Velmora::dsp
