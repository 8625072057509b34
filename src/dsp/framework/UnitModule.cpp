// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/UnitModule.h"

#include <utility>

namespace Velmora::dsp {

namespace {

std::vector<ModuleParam> RawRecords(const std::vector<std::string>& names) {
    std::vector<ModuleParam> records;
    records.reserve(names.size());
    for (const std::string& parameterName : names) {
        records.emplace_back(parameterName);
    }
    return records;
}

} // namespace

UnitModule::UnitModule(std::string moduleName, u32 inputCount, u32 outputCount,
                       const std::vector<std::string>& parameterNames)
    : UnitModule(std::move(moduleName), inputCount, outputCount, RawRecords(parameterNames)) {}

UnitModule::UnitModule(std::string moduleName, u32 inputCount, u32 outputCount,
                       std::vector<ModuleParam>&& records)
    : Module(std::move(moduleName), inputCount, outputCount), ParameterSet(std::move(records)) {}

UnitModule::UnitModule(u32 recordCount) : UnitModule({}, 3, 2, std::vector<ModuleParam>(recordCount)) {}

void UnitModule::Initialize(float sampleRate, u32 maxBlockSize) {
    Module::Initialize(sampleRate, maxBlockSize);
    MarkAll(true);
}

void UnitModule::Reset(bool hard) {
    Module::Reset(hard);
    if (hard) {
        MarkAll(true);
    }
}

bool UnitModule::SetParameterNormalized(u32 id, float value) {
    SetNormalized(id, value);
    return true;
}

bool UnitModule::SetParameterValue(u32 id, float value) {
    SetValue(id, value);
    return true;
}

float UnitModule::GetParameterNormalized(u32 id) { return parameters[id].GetNormalized(); }

void UnitModule::GetParameterName(u32 id, ParameterNameWriter& writer) {
    WritePrefix(writer);
    writer.Append(parameters[id].name);
}

void UnitModule::ClearParameterChanges(bool value) {
    if (anyParameterChanged || value) {
        MarkAll(value);
    }
}

} // namespace Velmora::dsp
