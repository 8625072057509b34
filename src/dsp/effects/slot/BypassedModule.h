// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"

#include <string>

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

    explicit BypassedModule(std::string moduleName = {});

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;
};

} // namespace Velmora::dsp
