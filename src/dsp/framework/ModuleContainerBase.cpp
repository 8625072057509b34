// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ModuleContainerBase.h"

#include "support/CLog.h"

namespace Velmora::dsp {

ModuleContainerBase::ModuleContainerBase(std::string moduleName, u32 inputCount, u32 outputCount,
                                         std::vector<ModuleParam>&& additionalRecords)
    : Module(std::move(moduleName), inputCount, outputCount), additional(std::move(additionalRecords)) {}

std::pair<float, u32> ModuleContainerBase::GetRateOverride(float sampleRate, u32 maxBlockSize) {
    return {sampleRate, maxBlockSize};
}

void ModuleContainerBase::ClearParameterChanges(bool value) {
    if (additional.anyParameterChanged || value) {
        additional.MarkAll(value);
    }
}

void ModuleContainerBase::FinishInitialize(float sampleRate, u32 maxBlockSize) {
    OnInitialize(sampleRate, maxBlockSize);
    OnReset(true);
    needsUpdate = true;
    additional.MarkAll(true);
}

void ModuleContainerBase::FinishReset(bool hard) {
    OnReset(hard);
    needsUpdate = true;
    if (hard) {
        additional.MarkAll(true);
    }
}

bool ModuleContainerBase::SetAdditionalNormalized(u32 index, float value) {
    if (index >= additional.parameters.size()) {
        return false;
    }
    additional.SetNormalized(index, value);
    SetLinked(index);
    return true;
}

bool ModuleContainerBase::SetAdditionalValue(u32 index, float value) {
    if (index >= additional.parameters.size()) {
        return false;
    }
    additional.SetValue(index, value);
    SetLinked(index);
    return true;
}

void ModuleContainerBase::SetLinked(u32 index) {
    if (index >= linkedIds.size() || linkedIds[index].empty()) {
        return;
    }
    const float value = additional.parameters[index].PeekNormalized();
    for (const u32 id : linkedIds[index]) {
        SetParameterNormalized(id, value);
    }
}

float ModuleContainerBase::GetAdditionalNormalized(u32 index) {
    return index < additional.parameters.size() ? additional.parameters[index].GetNormalized() : 0.0F;
}

ModuleParam* ModuleContainerBase::FindAdditional(u32 index) {
    return index < additional.parameters.size() ? &additional.parameters[index] : nullptr;
}

void ModuleContainerBase::WriteAdditionalName(u32 id, u32 firstId, ParameterNameWriter& writer) {
    const u32 index = id - firstId;
    if (index < additional.parameters.size()) {
        WritePrefix(writer);
        writer.Append(additional.parameters[index].name);
        return;
    }
    CLog::GetInstance().Log(
        "audio_engine", LogLevel::Error,
        "ModuleContainer::GetParameterName: paramId " + std::to_string(id) + " out of bounds. Accessing " +
            std::to_string(index + 1) + " additional parameters but only " +
            std::to_string(additional.parameters.size()) + " ModuleParam are initialized");
}

} // namespace Velmora::dsp
