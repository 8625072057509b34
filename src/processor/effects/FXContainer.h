// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/DelayRing.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "processor/effects/FXVariant.h"
#include "vocoder/wiring/Wiring.h"

#include <array>
#include <string>

namespace Velmora::Processor {

/// The end of the instrument: three effect slots, in series or in parallel. Parallel paths wait for the one
/// whose unit is the latest, so that they add up without a comb; when that changes, they fade to their new
/// places.
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

    /// Frames by which the output of the last block is late: in series of all units, in parallel of the
    /// latest.
    u32 Latency() const { return latency; }

    /// Counts from 0.
    FXVariant& Slot(u32 index) { return *slots[index]; }

private:
    using Pair = std::array<float*, 2>;
    using Path = std::array<dsp::SteadyDelay, outputCount>;
    using Inputs = std::array<const float*, FXVariant::inputCount>;

    Pair WorkBuffers(u32 slot) { return {buffers[2 * slot], buffers[2 * slot + 1]}; }
    void RunSeries(const dsp::ProcessContext& context);
    void RunParallel(const dsp::ProcessContext& context);
    void AlignPaths(u32 frames);
    void RunSlot(u32 slot, const dsp::ProcessContext& context, const float* left, const float* right,
                 const Pair& outputs);

    std::array<FXVariant*, slotCount> slots;
    std::array<Path, slotCount> paths;
    bool isParallel = false;
    /// The paths take their delays at once.
    bool startsPaths = true;
    u32 latency = 0;
    dsp::BlockPool buffers;
};

} // namespace Velmora::Processor
