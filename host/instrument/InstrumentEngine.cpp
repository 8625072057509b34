// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/instrument/InstrumentEngine.h"

#include "host/common/Errors.h"
#include "host/common/Paths.h"

#include <fmt/format.h>

#include <cstring>
#include <string_view>
#include <utility>

namespace orphia::host {

Instrument::Engine::Ids::Ids(const ParameterCatalog& catalog)
    : panic(catalog.Find("Panic").id), presetLoading(catalog.Find("PresetLoading").id),
      pedal(catalog.Find("VST3_CtrlSustainOnOff").id), mpeEnabled(catalog.Find("MPE_Enabled").id),
      keyOctave(catalog.Find("KeyboardSampleOctave").id), pressure(catalog.Find("VST3_AfterTouch").id),
      brightness(catalog.Find("MPE_GlobalBrightness").id), firstPath(catalog.Find("Sample1_Path").id),
      firstLoaded(catalog.Find("Sample1_Loaded").id), late(catalog), hiss(catalog.Find("HissLED").id),
      buzz(catalog.Find("BuzzLED").id), programOverload(catalog.Find("PreampOverloadLED").id),
      carrierOverload(catalog.Find("CarrierPreampOverloadLED").id) {}

Instrument::Engine::Engine(std::shared_ptr<const EngineLibrary> engineLibrary, std::uint32_t rate,
                           std::optional<std::uint32_t> seed)
    : library(std::move(engineLibrary)), catalog(ParameterCatalog::OfInstrument()), ids(catalog),
      processor(library->CreateProcessor(seed)), isTouched(catalog.Parameters().size()) {
    processor->Connect(&messages);
    CheckNames();
    Initialize(rate);
}

Instrument::Engine::~Engine() { processor->Terminate(); }

/// Ids are numbers: settings that went to other parameters than they are meant for would go unnoticed.
void Instrument::Engine::CheckNames() {
    const auto& parameters = catalog.Parameters();
    const auto refuse = [this](const std::string& reason) {
        throw EngineError(
            fmt::format("{} is another version of the engine: {}", TextOf(library->Path()), reason));
    };
    if (processor->GetParameterCount() != parameters.size()) {
        refuse(fmt::format("it has {} parameters instead of {}", processor->GetParameterCount(),
                           parameters.size()));
    }
    for (const ParameterInfo& info : parameters) {
        Velmora::Processor::ParameterInfoRecord record{};
        std::uint32_t id = 0;
        processor->GetParameterInfoByIndex(info.id, &id, &record);
        const std::string_view name(record.name, strnlen(record.name, record.nameCapacity));
        if (id != info.id || name != info.name) {
            refuse(fmt::format("parameter {} is '{}' instead of '{}'", info.id, name, info.name));
        }
    }
}

void Instrument::Engine::Initialize(std::uint32_t rate) {
    sampleRate = rate;
    const Velmora::Processor::ProcessorSetup setup{static_cast<float>(rate)};
    blockFrames = processor->GetBlockSize(setup.sampleRate);
    buffers.Allocate(4, blockFrames);
    processor->Initialize(&setup);
    if (limiter) {
        limiter.emplace(rate);
    }
    ForgetNotes();
    BeginLoading();
}

void Instrument::Engine::Write(std::uint32_t id, float position) {
    WriteNow(id, position);
    late.Note(id);
}

void Instrument::Engine::BeginLoading() {
    late.EndWaiting(*this);
    Write(ids.presetLoading, 1.0F);
    hasStarted = false;
}

float Instrument::Engine::Position(std::uint32_t id) const {
    float position = 0.0F;
    processor->GetParameter(id, &position);
    return position;
}

void Instrument::Engine::ForgetNotes() {
    processor->ClearEvents();
    eventsInBlock = 0;
    releasing = 0;
    held.Clear();
}

} // namespace orphia::host
