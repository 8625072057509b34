// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/Module.h"

#include <utility>

namespace Velmora::dsp {

Module::Module(std::string moduleName, u32 inputCount, u32 outputCount)
    : name(std::move(moduleName)), numInputs(inputCount), numOutputs(outputCount) {}

void Module::Initialize(float sampleRate, u32 maxBlockSize) {
    OnInitialize(sampleRate, maxBlockSize);
    OnReset(true);
    needsUpdate = true;
}

void Module::Reset(bool hard) {
    OnReset(hard);
    needsUpdate = true;
}

void Module::ClearParameterChanges(bool /*value*/) {}

void Module::WritePrefix(ParameterNameWriter& writer) const {
    if (!name.empty()) {
        writer.Append(name);
        writer.Append("_");
    }
}

} // namespace Velmora::dsp
