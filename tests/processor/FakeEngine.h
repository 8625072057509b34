// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/EventQueue.h"
#include "dsp/ParameterNameWriter.h"
#include "dsp/ProcessContext.h"
#include "processor/ChangeQueue.h"
#include "processor/HostRecords.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace orphia::test {

using Velmora::u32;
using Velmora::dsp::ProcessContext;
using Velmora::Processor::ParameterData;

/// Stands in for the engine behind the host's boundary: two outputs, ten parameters, and a diary of its
/// calls.
struct FakeEngine {
    static constexpr u32 parameterCount = 10;

    u32 numInputs = 0;
    u32 numOutputs = 2;
    bool needsUpdate = true;
    bool agrees = true;
    bool loading = false;
    float value = 0.25F;
    std::string name = "Level";
    std::vector<char> data;
    std::string tooltip = "tip";
    u32 tooltipId = 0;
    std::string diary;
    ProcessContext context;
    std::function<void(ProcessContext&)> onProcess;
    Velmora::Processor::ChangeQueue<Velmora::Processor::ParameterValueRecord, 64> valueChanges;
    Velmora::Processor::ChangeQueue<Velmora::Processor::ParameterDataRecord, 10> dataChanges;

    void Initialize(float rate, u32 blockSize) {
        diary += "Initialize " + std::to_string(rate) + " " + std::to_string(blockSize) + ";";
    }
    void Terminate() { diary += "Terminate;"; }
    float GetParameterNormalized(u32 /*id*/) { return value; }
    bool SetParameterNormalized(u32 id, float newValue) {
        value = newValue;
        return id != 7;
    }
    bool SetParameterData(u32 id, const void* bytes, u32* size) {
        const auto* text = static_cast<const char*>(bytes);
        data.assign(text, text + *size);
        return id == 3;
    }
    ParameterData GetParameterData(u32 id) {
        return id == 3 ? ParameterData{static_cast<u32>(data.size()), data.data()} : ParameterData{};
    }
    void GetParameterName(u32 id, Velmora::dsp::ParameterNameWriter& writer) {
        if (id != 9) {
            writer.Append(name);
        }
    }
    void GetTooltipText(u32 id, u32 capacity, char* text) {
        tooltipId = id;
        text[tooltip.copy(text, capacity - 1)] = '\0';
    }
    u32 GetExtraLatency() const { return 5; }
    bool IsLoading() const { return loading; }
    void FinishLoading() { diary += "FinishLoading;"; }
    bool UpdateParameters(ProcessContext& /*given*/) {
        diary += "Update;";
        return agrees;
    }
    bool Process(ProcessContext& given) {
        diary += "Process;";
        context = given;
        if (onProcess) {
            onProcess(given);
        }
        return true;
    }
    void ClearParameterChanges(bool changed) { diary += changed ? "Mark;" : "Clear;"; }
};

} // namespace orphia::test
