// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ParameterNameWriter.h"
#include "processor/adapter/BlockSize.h"
#include "processor/adapter/DsplibProcessorBlock-Impl.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

// The operations of the host interface; the block has a file of its own.
namespace Velmora::Processor {

namespace details {

inline std::unique_ptr<Info_V5> Describe(u32 eventPortCount) {
    auto description = std::make_unique<Info_V5>(IProcessor_V8::version);
    description->eventPortCount = eventPortCount;
    return description;
}

/// The host reads the records until the next block, in which the engine fills the queue from its start again.
template <class Queue, class Record>
bool HandOverChanges(Queue& queue, const Record** records, u32* count) {
    if (records == nullptr || count == nullptr) {
        return false;
    }
    *count = std::exchange(queue.count, 0U);
    *records = *count > 0 ? queue.records.data() : nullptr;
    return *count > 0;
}

} // namespace details

template <class Engine, u32 variant>
DsplibProcessor<Engine, variant>::DsplibProcessor(u32 eventPortCount)
    : IProcessor_V8(details::Describe(eventPortCount)), portEvents(eventPortCount),
      portOutRecords(std::size_t{eventPortCount} * eventCapacity) {}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::Initialize(const ProcessorSetup* setup) {
    if (setup == nullptr) {
        return false;
    }
    initialized = true;
    // Blocks are refused until all is done, should memory end half-way.
    maxBlockSize = 0;
    const u32 blockSize = GetBlockSize(setup->sampleRate);
    outputs.Allocate(engine.numOutputs, blockSize);
    auxInputs.Allocate(auxInputLimit, blockSize);
    engine.Initialize(EngineSampleRate(setup->sampleRate), blockSize);
    maxBlockSize = blockSize;
    return initialized;
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::Terminate() {
    engine.Terminate();
    return true;
}

template <class Engine, u32 variant>
u32 DsplibProcessor<Engine, variant>::GetBlockSize(float sampleRate) {
    return BlockSizeAt(sampleRate);
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::GetParameter(u32 id, float* value) {
    if (id == tooltipUpdateId) {
        return true;
    }
    if (value == nullptr) {
        return false;
    }
    if (id < tooltipUpdateId) {
        *value = engine.GetParameterNormalized(id);
    }
    return *value != -1.0F; // the mark of a missing value
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::SetParameter(u32 id, float value) {
    if (id < tooltipUpdateId) {
        return engine.SetParameterNormalized(id, value);
    }
    if (id == tooltipUpdateId) {
        RequestTooltip(value);
        return true;
    }
    return false;
}

template <class Engine, u32 variant>
void DsplibProcessor<Engine, variant>::RequestTooltip(float value) {
    if (value < static_cast<float>(parameterCount)) {
        tooltipPending = true;
        const u32 id = value > -1.0F ? static_cast<u32>(value) : ParameterDataRecord::noId;
        engine.GetTooltipText(id, textCapacity, tooltipText.data());
    }
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::GetParameterData(u32 id, void* buffer, u32* size) {
    if (id >= tooltipUpdateId) {
        return id == tooltipTextId;
    }
    if (size == nullptr) {
        return false;
    }
    const ParameterData stored = engine.GetParameterData(id);
    const bool fits = buffer != nullptr && stored.size != 0 && stored.size <= *size;
    *size = stored.size;
    if (fits) {
        std::memcpy(buffer, stored.data, stored.size);
    }
    return fits;
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::SetParameterData(u32 id, const void* data, u32* size) {
    const bool hasData = size != nullptr && (data != nullptr || *size == 0);
    if (id == tooltipTextId && hasData) {
        TakeOption({static_cast<const char*>(data), *size});
    }
    if (id >= tooltipUpdateId) {
        return id == tooltipTextId;
    }
    if (!hasData) {
        return false;
    }
    return engine.SetParameterData(id, data, size);
}

/// "seed=" and a number makes noise and chance repeatable; "drive=smooth" takes the aliases from the drive of
/// the oscillators, "drive=plain" leaves them again. A tooltip's text is the engine's to write, so that no
/// other use of it is disturbed.
template <class Engine, u32 variant>
void DsplibProcessor<Engine, variant>::TakeOption(std::string_view text) {
    constexpr std::string_view key = "seed=";
    u32 seed = 0;
    if (text.starts_with(key) &&
        std::from_chars(text.data() + key.size(), text.data() + text.size(), seed).ec == std::errc()) {
        engine.SeedNoise(seed);
    } else if (text == "drive=smooth" || text == "drive=plain") {
        engine.SetSmoothDrive(text == "drive=smooth");
    }
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::GetParameterInfo(u32 id, ParameterInfoRecord* record) {
    if (id >= parameterCount || record == nullptr) {
        return false;
    }
    if (id < tooltipUpdateId) {
        return GetEngineParameterInfo(id, *record);
    }
    if (id == tooltipTextId) {
        record->dataKind = 0;
        record->dataSize = textCapacity;
    }
    // Without a terminator: the host's record is zeroed.
    const std::string_view name = id == tooltipTextId ? "ToolTipText" : "ToolTipUpdate";
    name.copy(record->name, name.size());
    return true;
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::GetEngineParameterInfo(u32 id, ParameterInfoRecord& record) {
    dsp::ParameterNameWriter writer(record.name, ParameterInfoRecord::nameCapacity);
    engine.GetParameterName(id, writer);
    if (writer.used == 0) {
        return false;
    }
    if (writer.needed > writer.capacity) {
        ReportLongName(writer.needed, record.name);
        return true;
    }
    if (const u32 size = engine.GetParameterData(id).size; size != 0) {
        record.dataKind = 0;
        record.dataSize = size;
    }
    return true;
}

template <class Engine, u32 variant>
void DsplibProcessor<Engine, variant>::ReportLongName(u32 needed, const char* name) {
    if (logger == nullptr) {
        return;
    }
    constexpr u32 level = 2;
    std::array<char, ParameterInfoRecord::nameCapacity + 80> text;
    std::snprintf(text.data(), text.size(), "Param name too long: (%u chars instead of %u) : %s", needed,
                  ParameterInfoRecord::nameCapacity, name);
    logger->Log(text.data(), level);
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::GetParameterInfoByIndex(u32 index, u32* id,
                                                               ParameterInfoRecord* record) {
    if (index >= parameterCount || id == nullptr) {
        return false;
    }
    *id = index;
    return GetParameterInfo(index, record);
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::PushEvent(const u8* midi) {
    if (midi != nullptr) {
        inputEvents.AppendMidi(midi[0], midi[1], midi[2]);
    }
    return true;
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::ClearEvents() {
    inputEvents.Clear();
    outputEvents.Clear();
    for (dsp::EventQueue& port : portEvents) {
        port.Clear();
    }
    return true;
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::GetParameterValueChanges(const ParameterValueRecord** records,
                                                                u32* count) {
    return details::HandOverChanges(engine.valueChanges, records, count);
}

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::GetParameterDataChanges(const ParameterDataRecord** records,
                                                               u32* count) {
    if (records == nullptr || count == nullptr || !std::exchange(tooltipPending, false)) {
        return details::HandOverChanges(engine.dataChanges, records, count);
    }
    tooltipRecord = {tooltipTextId, textCapacity, tooltipText.data()};
    *records = &tooltipRecord;
    *count = 1;
    return true;
}

} // namespace Velmora::Processor
