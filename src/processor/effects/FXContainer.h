// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "processor/effects/FXVariant.h"
#include "vocoder/wiring/Wiring.h"

#include <array>
#include <string>

namespace Velmora::Processor {

/// The end of the instrument: three effect slots, in series or in parallel.
///
/// Inputs: those of Pins::Effects; any may be null or absent. Outputs: 0 left, 1 right, which may be the
/// input buffers.
class FXContainer final : public dsp::ModuleContainer<FXVariant, FXVariant, FXVariant> {
public:
    static constexpr u32 slotCount = childCount;
    enum Additional : u32 {
        /// 0: one slot after the other. 1: all hear the input, and the output is their mean.
        Routing,
        /// Off: the input passes, and the slots are reset.
        Enable,
        AdditionalCount
    };
    static constexpr u32 parameterCount = childParameterCount + AdditionalCount;
    static constexpr u32 inputCount = Pins::EffectsInputCount;
    static constexpr u32 outputCount = 2;
    static constexpr u32 ParameterId(Additional index) { return childParameterCount + index; }
    /// Of a parameter of a slot, which counts from 0.
    static constexpr u32 SlotId(u32 slot, u32 id) { return firstIds[slot] + id; }

    /// The slots are called "FX1", "FX2" and "FX3"; the own parameters bring "FX_" along.
    explicit FXContainer(std::string moduleName = {});

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Counts from 0.
    FXVariant& Slot(u32 index) { return *slots[index]; }

private:
    using Pair = std::array<float*, 2>;
    using Inputs = std::array<const float*, FXVariant::inputCount>;

    Pair WorkBuffers(u32 slot) { return {buffers[2 * slot], buffers[2 * slot + 1]}; }
    void RunSeries(const dsp::ProcessContext& context);
    void RunParallel(const dsp::ProcessContext& context);
    void RunSlot(u32 slot, const dsp::ProcessContext& context, const float* left, const float* right,
                 const Pair& outputs);

    std::array<FXVariant*, slotCount> slots;
    bool isParallel = false;
    dsp::BlockPool buffers;
};

} // namespace Velmora::Processor
