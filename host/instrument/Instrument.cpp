// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/instrument/Instrument.h"

#include "host/common/Errors.h"
#include "host/instrument/InstrumentEngine.h"
#include "host/parameters/ParameterText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace orphia::host {

namespace {

constexpr std::uint32_t keysPerOctave = 12;

void CheckRate(std::uint32_t rate) {
    if (rate < Instrument::minimumSampleRate || rate > Instrument::maximumSampleRate) {
        throw UsageError(fmt::format("sample rate {} Hz is outside {} Hz .. {} Hz", rate,
                                     Instrument::minimumSampleRate, Instrument::maximumSampleRate));
    }
}

} // namespace

Instrument::Instrument(std::shared_ptr<const EngineLibrary> library, std::uint32_t rate,
                       std::optional<std::uint32_t> seed) {
    CheckRate(rate);
    engine = std::make_unique<Engine>(std::move(library), rate, seed);
    LoadSettings({});
    engine->controls.emplace(*this);
}

Instrument::~Instrument() = default;

const EngineLibrary& Instrument::Library() const { return *engine->library; }

const ParameterCatalog& Instrument::Catalog() const { return engine->catalog; }

std::uint32_t Instrument::SampleRate() const { return engine->sampleRate; }

std::uint32_t Instrument::FramesPerBlock() const { return engine->blockFrames; }

std::uint32_t Instrument::LatencyFrames() const {
    return engine->processor->GetExtraLatency() + (engine->limiter ? engine->limiter->LatencyFrames() : 0);
}

void Instrument::SetLimiter(bool isOn) {
    if (!isOn) {
        engine->limiter.reset();
    } else if (!engine->limiter) {
        engine->limiter.emplace(engine->sampleRate);
    }
}

void Instrument::SetSmoothDrive(bool isOn) {
    EngineLibrary::SendOption(*engine->processor, isOn ? "drive=smooth" : "drive=plain");
}

void Instrument::SetSampleRate(std::uint32_t rate) {
    CheckRate(rate);
    engine->Initialize(rate);
}

void Instrument::Set(const ParameterSetting& setting) {
    const auto& parameters = Catalog().Parameters();
    if (setting.id >= parameters.size() || !std::isfinite(setting.number) ||
        !parameters[setting.id].IsSettable()) {
        return;
    }
    engine->Write(setting.id, PositionOf(Catalog(), setting));
    engine->isTouched[setting.id] = true;
    if (setting.id == engine->ids.mpeEnabled && engine->controls) {
        engine->controls->Restart();
    }
}

void Instrument::Set(std::string_view name, std::string_view text) {
    const ParameterInfo& info = Catalog().Find(name);
    CheckIsSettable(info);
    Set(ParseSetting(info, text));
}

void Instrument::Control(std::uint32_t id, float value) {
    if (std::isfinite(value)) {
        engine->Write(id, PositionOf(Catalog(), {id, ParameterSetting::Scale::Value, value}));
    }
}

float Instrument::Position(std::uint32_t id) const {
    return engine->late.IsWaitingHold(id) ? 1.0F : engine->Position(id);
}

float Instrument::Value(std::uint32_t id) const { return Catalog().ToValue(id, Position(id)); }

float Instrument::Value(std::string_view name) const { return Value(Catalog().Find(name).id); }

bool Instrument::NoteOn(unsigned note, float velocity, unsigned channel) {
    const float scaled = std::isfinite(velocity) ? std::round(velocity * 127.0F) : 127.0F;
    const auto strength = static_cast<std::uint8_t>(std::clamp(scaled, 1.0F, 127.0F));
    return Send({static_cast<std::uint8_t>(0x90U | (channel & 0x0FU)),
                 static_cast<std::uint8_t>(note & 0x7FU), strength});
}

bool Instrument::NoteOff(unsigned note, unsigned channel) {
    return Send(
        {static_cast<std::uint8_t>(0x80U | (channel & 0x0FU)), static_cast<std::uint8_t>(note & 0x7FU), 0});
}

void Instrument::AllNotesOff() {
    engine->releasing = ~0U;
    engine->ReleaseWaiting();
    engine->controls->LiftPedals();
}

void Instrument::Panic() {
    engine->ForgetNotes();
    engine->Write(engine->ids.panic, 1.0F);
    engine->Write(engine->ids.panic, 0.0F);
    if (engine->limiter) {
        engine->limiter->Reset();
    }
}

void Instrument::Reset() {
    engine->ForgetNotes();
    engine->BeginLoading();
    if (engine->limiter) {
        engine->limiter->Reset();
    }
}

void Instrument::SeedNoise(std::uint32_t seed) {
    EngineLibrary::SendOption(*engine->processor, fmt::format("seed={}", seed));
}

unsigned Instrument::KeyOf(std::uint32_t slot) const {
    return static_cast<unsigned>(Value(engine->ids.keyOctave)) * keysPerOctave + slot;
}

void Instrument::SetTransport(const Transport& transport) { engine->transport = transport; }

const Transport& Instrument::CurrentTransport() const { return engine->transport; }

void Instrument::SetOffline(bool isOffline) { engine->isOffline = isOffline; }

MidiControls& Instrument::Controls() { return *engine->controls; }

MeterReading Instrument::TakeMeters() { return std::exchange(engine->meters, {}); }

std::vector<std::string> Instrument::TakeMessages() { return engine->messages.Take(); }

} // namespace orphia::host
