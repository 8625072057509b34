// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/framework/UnitModule.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// A module without a sound of its own: what a slot holds while no effect is chosen. Outputs 0 and 1 are
/// inputs 0 and 1, to the bit; one that is null or absent counts as silence. Input 2 is not read.
class BypassedModule final : public UnitModule {
public:
    static constexpr u32 parameterCount = 1;
    enum Parameter : u32 {
        /// Has no effect: it is there because every type of a slot has ids.
        BypassUselessParam
    };
    static constexpr std::array<u32, 0> modulationInputs = {};
    static constexpr u32 inputCount = 3;
    static constexpr std::array<u32, 0> slotSignals = {};

    explicit BypassedModule(std::string moduleName = {})
        : UnitModule(std::move(moduleName), inputCount, 2, std::vector<std::string>{"BypassUselessParam"}) {}

    void OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) override {}
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(ProcessContext& /*context*/) override { return true; }
    bool Process(ProcessContext& context) override {
        for (u32 channel = 0; channel < context.numOutputs; ++channel) {
            CopyChannel(context, channel);
        }
        return true;
    }
};

} // namespace Velmora::dsp
