// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/Within.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <algorithm>
#include <array>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// A module M of two channels with a "DryWet" of its own: 0 is the input to the bit, 1 the output of M. The
/// dry channels are the inputs from firstInput on, the wet ones the outputs from firstOutput on. Input
/// dryWetInput modulates "DryWet"; all other inputs are those of M, in their order.
///
/// Outputs must not be the input buffers. A dry channel that is null or absent counts as silence.
template <class M, u32 firstInput, u32 dryWetInput, u32 firstOutput>
class WithDryWet final : public ModuleContainer<M> {
public:
    static constexpr u32 parameterCount = M::parameterCount + 1;
    /// The share of M, 0 to 1.
    static constexpr u32 dryWetId = M::parameterCount;
    static constexpr auto modulationInputs = [] {
        std::array<u32, M::modulationInputs.size() + 1> ids{};
        const auto own = std::copy_n(M::modulationInputs.begin(), dryWetInput - 2, ids.begin());
        *own = dryWetId;
        std::copy(M::modulationInputs.begin() + (dryWetInput - 2), M::modulationInputs.end(), own + 1);
        return ids;
    }();
    static constexpr u32 inputCount = M::inputCount + 1;
    /// The first is that of M.
    static constexpr auto slotSignals = std::to_array<u32>({M::slotSignals[0], dryWetId});

    /// moduleName stands before the names of M's parameters too; M itself has no prefix.
    explicit WithDryWet(std::string moduleName)
        : ModuleContainer<M>(std::move(moduleName), 0, 0,
                             RecordsOf({Declare::Linear("DryWet", 0.0F, 1.0F, 1.0F)}),
                             std::make_tuple(std::string())),
          childInputs(Inner().numInputs) {
        this->numInputs = Inner().numInputs + 1;
        this->numOutputs = Inner().numOutputs;
    }

    M& Inner() { return this->template Child<0>(); }

    void OnInitialize(float sampleRate, u32 maxBlockSize) override {
        wet.Prepare(sampleRate, 1);
        ramp.Allocate(1, maxBlockSize);
    }
    /// The mix arrives at once with the next block, which knows its modulation.
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(ProcessContext& context) override {
        ModuleParam& dryWet = this->additional.parameters[0];
        wet.SetTarget(dryWet.Hold(dryWet.GetModulatedValue(context, dryWetInput)));
        if (this->needsUpdate) {
            wet.Set(static_cast<float>(wet.target));
        }
        return true;
    }
    bool Process(ProcessContext& context) override {
        if (context.numOutputs < firstOutput + channelCount) {
            return false;
        }
        const bool result = RunInner(context);
        if (wet.IsAtTarget() && wet.current == 1.0) {
            return result;
        }
        wet.RenderBlock(ramp[0], context.numFrames);
        for (u32 channel = 0; channel < channelCount; ++channel) {
            Mix(context.InputOrNull(firstInput + channel), context.outputs[firstOutput + channel],
                context.numFrames);
        }
        return result;
    }

private:
    static constexpr u32 channelCount = 2;
    static constexpr double smoothingSeconds = 0.01;

    bool RunInner(ProcessContext& context) {
        for (u32 i = 0; i < childInputs.size(); ++i) {
            childInputs[i] = context.InputOrNull(i < dryWetInput ? i : i + 1);
        }
        ProcessContext child = context.ForChild(childInputs.data(), static_cast<u32>(childInputs.size()),
                                                context.outputs, context.numOutputs);
        return RunChild(Inner(), child);
    }

    void Mix(const float* dry, float* out, u32 frames) {
        const float* w = ramp[0];
        for (u32 n = 0; n < frames; ++n) {
            out[n] = (1.0F - w[n]) * (dry != nullptr ? dry[n] : 0.0F) + w[n] * out[n];
        }
    }

    std::vector<const float*> childInputs;
    SmootherLPF wet{smoothingSeconds};
    BlockPool ramp;
};

} // namespace Velmora::dsp
