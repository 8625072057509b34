// SPDX-License-Identifier: GPL-3.0-or-later
#include "python/native/NativeInstrument.h"

#include "host/presets/Preset.h"

#include <filesystem>
#include <utility>

namespace orphia::python {

namespace {

using Lock = std::scoped_lock<std::mutex>;

/// Relative paths of samples are seen from where the program stands.
host::Preset Parse(std::string_view text, const host::ParameterCatalog& catalog,
                   std::vector<std::string>& warnings) {
    std::error_code error;
    return host::ParsePreset(text, catalog, warnings, std::filesystem::current_path(error));
}

} // namespace

std::shared_ptr<const host::EngineLibrary> SharedEngine() {
    static const std::shared_ptr<const host::EngineLibrary> engine = host::EngineLibrary::Load();
    return engine;
}

NativeInstrument::NativeInstrument(const Options& wanted) : options(wanted) {
    std::vector<std::string> warnings;
    instrument = Make({}, warnings);
    adapter.emplace(*instrument);
}

std::unique_ptr<host::Instrument> NativeInstrument::Make(const host::Preset& preset,
                                                         std::vector<std::string>& warnings) const {
    auto made = std::make_unique<host::Instrument>(SharedEngine(), options.sampleRate, options.seed);
    made->SetOffline(true);
    made->SetLimiter(options.hasLimiter);
    warnings = made->LoadPreset(preset);
    return made;
}

std::vector<std::string> NativeInstrument::LoadPreset(std::string_view text) {
    const Lock lock(mutex);
    std::vector<std::string> warnings;
    const host::Preset preset = Parse(text, instrument->Catalog(), warnings);
    const std::vector<std::string> problems = instrument->LoadPreset(preset);
    hasNews = true;
    warnings.insert(warnings.end(), problems.begin(), problems.end());
    return warnings;
}

std::string NativeInstrument::CapturePreset(const std::string& name) {
    const Lock lock(mutex);
    return host::FormatPreset(instrument->CapturePreset(name), instrument->Catalog());
}

void NativeInstrument::Set(const host::ParameterSetting& setting) {
    const Lock lock(mutex);
    instrument->Set(setting);
    hasNews = true;
}

float NativeInstrument::Value(std::uint32_t id) {
    const Lock lock(mutex);
    return instrument->Value(id);
}

void NativeInstrument::LoadSample(std::uint32_t sample, const std::string& path) {
    const Lock lock(mutex);
    instrument->LoadSample(sample, path);
}

void NativeInstrument::ClearSample(std::uint32_t sample) {
    const Lock lock(mutex);
    instrument->ClearSample(sample);
}

void NativeInstrument::Send(const host::MidiMessage& message) {
    const Lock lock(mutex);
    waiting.push_back({0, message});
}

void NativeInstrument::AllNotesOff() {
    const Lock lock(mutex);
    waiting.clear();
    instrument->AllNotesOff();
}

/// A fresh one with the same settings, so that noise and what moves by itself begin anew as well.
void NativeInstrument::Reset() {
    const Lock lock(mutex);
    std::vector<std::string> warnings;
    std::unique_ptr<host::Instrument> fresh = Make(instrument->CapturePreset(), warnings);
    adapter.reset();
    instrument = std::move(fresh);
    adapter.emplace(*instrument);
    waiting.clear();
    hasNews = true;
}

void NativeInstrument::Process(const Planes& voice, std::span<float> left, std::span<float> right) {
    const Lock lock(mutex);
    const float* const sides[2] = {voice.left, voice.right};
    float* const outputs[2] = {left.data(), right.data()};
    adapter->Process(sides, voice.left != nullptr ? 2 : 0, outputs, static_cast<std::uint32_t>(left.size()),
                     waiting);
    if (!left.empty()) {
        waiting.clear();
        hasNews = hasNews && left.size() < instrument->FramesPerBlock();
    }
}

/// Effects tell how late they are behind a block, so a twin plays one.
std::uint32_t NativeInstrument::Latency() {
    const Lock lock(mutex);
    if (!hasNews) {
        return adapter->Latency();
    }
    std::vector<std::string> warnings;
    const std::unique_ptr<host::Instrument> twin = Make(instrument->CapturePreset(), warnings);
    host::BlockAdapter ahead(*twin);
    std::vector<float> block(std::size_t{twin->FramesPerBlock()} * 2);
    ahead.Process({}, block);
    return ahead.Latency();
}

host::MeterReading NativeInstrument::TakeMeters() {
    const Lock lock(mutex);
    return instrument->TakeMeters();
}

RenderedSound NativeInstrument::Render(RenderJob job, std::vector<std::string>& warnings) {
    host::Preset preset;
    {
        const Lock lock(mutex);
        preset = instrument->CapturePreset();
    }
    const std::unique_ptr<host::Instrument> fresh = Make(preset, warnings);
    return RenderAll(*fresh, std::move(job));
}

} // namespace orphia::python
