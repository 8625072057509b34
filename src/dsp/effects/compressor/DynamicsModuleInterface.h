// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/stack_function.h"
#include "dsp/framework/ModuleParam.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/vectors/SilenceFaults.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// What processors of dynamics have in common: a stage that writes gains into the outputs, the
/// multiplication of the inputs by these, a closing stage, and callbacks for parameters that change. Base is
/// a UnitModule; Envelope moves the reduction up and down. Parameter 0 must be "ConfOnlyComputeGain": above
/// 0.5 the outputs stay as the gain stage wrote them; else inputs and outputs must be separate buffers.
template <class Base, class Envelope>
class DynamicsModuleInterface : public Base {
public:
    bool Process(ProcessContext& context) final {
        ComputeGain(context);
        if (!onlyComputesGain) {
            MultiplyByInputs(context);
        }
        FinishBlock(context);
        return true;
    }

protected:
    static constexpr u32 onlyComputeGainId = 0;
    using ChangeCallback = stlutils::stack_function<void()>;

    DynamicsModuleInterface(std::string moduleName, u32 inputCount, u32 outputCount,
                            std::vector<ModuleParam>&& records)
        : Base(std::move(moduleName), inputCount, outputCount, std::move(records)) {
        OnChange(onlyComputeGainId,
                 [this] { onlyComputesGain = this->GetParameterNormalized(onlyComputeGainId) > 0.5F; });
    }

    /// Writes the gains, or finished audio, into the outputs.
    virtual void ComputeGain(ProcessContext& context) = 0;
    /// After the outputs are finished.
    virtual void FinishBlock(ProcessContext& context) = 0;

    /// Runs the callback in UpdateParameters whenever the parameter has changed. For constructors.
    void OnChange(u32 id, ChangeCallback callback) { callbacks.emplace_back(id, std::move(callback)); }

    void RunChangeCallbacks() {
        for (auto& [id, callback] : callbacks) {
            if (this->Changed(id)) {
                callback();
            }
        }
    }

    Envelope envelope;

private:
    static void MultiplyByInputs(const ProcessContext& context) {
        for (u32 channel = 0; channel < context.numOutputs; ++channel) {
            const float* in = context.InputOrNull(channel);
            float* out = context.outputs[channel];
            if (in != nullptr && out != nullptr) {
                std::transform(out, out + context.numFrames, in, out,
                               [](float g, float x) { return g * SilenceFaults(x); });
            }
        }
    }

    std::vector<std::pair<u32, ChangeCallback>> callbacks;
    bool onlyComputesGain = false;
};

} // namespace Velmora::dsp
