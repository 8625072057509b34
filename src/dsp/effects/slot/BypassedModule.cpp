// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/slot/BypassedModule.h"

#include "dsp/framework/CopyChannel.h"

#include <utility>
#include <vector>

namespace Velmora::dsp {

BypassedModule::BypassedModule(std::string moduleName)
    : UnitModule(std::move(moduleName), 3, 2, std::vector<std::string>{"BypassUselessParam"}) {}

void BypassedModule::OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) {}

void BypassedModule::OnReset(bool /*hard*/) {}

bool BypassedModule::UpdateParameters(ProcessContext& /*context*/) { return true; }

bool BypassedModule::Process(ProcessContext& context) {
    for (u32 channel = 0; channel < context.numOutputs; ++channel) {
        CopyChannel(context, channel);
    }
    return true;
}

} // namespace Velmora::dsp
