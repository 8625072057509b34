// SPDX-License-Identifier: GPL-3.0-or-later
#include "web/native/Player.h"

#include "host/common/Errors.h"
#include "host/engine/EngineLibrary.h"
#include "host/instrument/DecodedSound.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/PresetLibrary.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <span>
#include <utility>

namespace orphia::web {

namespace {

using nlohmann::json;

/// Events that wait for the next call of Process; what is more is lost.
constexpr std::size_t mostEvents = 1024;

std::string Text(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

std::vector<std::string> Choices(const host::ParameterInfo& info) {
    std::vector<std::string> names;
    for (unsigned step = 0; !info.choices.empty() && step < info.stepCount; ++step) {
        names.emplace_back(host::ChoiceOf(info, step));
    }
    return names;
}

host::Preset ReadNamed(std::string_view id, std::vector<std::string>& warnings) {
    const auto& catalog = host::ParameterCatalog::OfInstrument();
    if (id == "default") {
        return host::DefaultPreset(catalog);
    }
    const host::PresetLibrary library(std::filesystem::path{});
    return host::PresetLibrary::Load(library.Find(id), catalog, warnings);
}

} // namespace

Player::Player(std::uint32_t rate, std::optional<std::uint32_t> seed)
    : instrument(host::EngineLibrary::Load(), rate, seed), song(instrument), adapter(song) {
    instrument.SetLimiter(true);
    for (std::size_t channel = 0; channel < 2; ++channel) {
        voice[channel].resize(mostFrames);
        sound[channel].resize(mostFrames);
    }
    events.reserve(mostEvents);
}

void Player::Process(std::uint32_t frames, std::uint32_t voiceChannels) {
    const std::array<const float*, 2> heard{voice[0].data(), voice[1].data()};
    const std::array<float*, 2> output{sound[0].data(), sound[1].data()};
    adapter.Process(heard.data(), std::min(voiceChannels, 2U), output.data(), std::min(frames, mostFrames),
                    events);
    events.clear();
}

void Player::Send(const host::MidiMessage& message) {
    if (events.size() < mostEvents) {
        events.push_back({0, message});
    }
}

void Player::Move(std::uint32_t id, float position) {
    if (events.size() < mostEvents) {
        events.push_back({0, host::ParameterSetting{id, host::ParameterSetting::Scale::Position, position}});
    }
}

void Player::Panic() {
    song.Stop();
    instrument.Panic();
}

void Player::Set(std::string_view assignment) {
    instrument.Set(host::ParseAssignment(instrument.Catalog(), assignment));
}

std::string Player::Describe(std::string_view name) const {
    const host::ParameterInfo& info = instrument.Catalog().Find(name);
    return Text({{"id", info.id},
                 {"name", info.name},
                 {"description", info.description},
                 {"isSwitch", info.isSwitch},
                 {"steps", info.kind == host::ParameterKind::Stepped ? info.stepCount : 0U},
                 {"choices", Choices(info)},
                 {"range", host::FormatRange(info)},
                 {"start", instrument.Catalog().StartPosition(info.id)},
                 {"position", instrument.Position(info.id)},
                 {"text", host::FormatValue(info, instrument.Value(info.id))}});
}

std::string Player::ValueText(std::uint32_t id) const {
    const auto& parameters = instrument.Catalog().Parameters();
    return id < parameters.size() ? host::FormatValue(parameters[id], instrument.Value(id)) : std::string();
}

std::string Player::Presets() {
    json list = json::array();
    const host::PresetLibrary library(std::filesystem::path{});
    const auto& catalog = host::ParameterCatalog::OfInstrument();
    const auto add = [&](const std::string& id, const host::Preset& preset) {
        json paths = json::array();
        for (const auto& [slot, path] : preset.samples.value_or(decltype(preset.samples)::value_type{})) {
            paths.push_back(path.string());
        }
        list.push_back(
            {{"id", id}, {"name", preset.name}, {"description", preset.description}, {"samples", paths}});
    };
    add("default", host::DefaultPreset(catalog));
    for (const auto& entry : library.Entries()) {
        std::vector<std::string> warnings;
        add(entry.id, host::PresetLibrary::Load(entry, catalog, warnings));
    }
    return Text(list);
}

std::string Player::Load(const host::Preset& preset, std::vector<std::string> warnings) {
    song.Stop();
    const std::vector<std::string> problems = instrument.LoadPreset(preset);
    warnings.insert(warnings.end(), problems.begin(), problems.end());
    return Text(warnings);
}

std::string Player::LoadNamed(std::string_view id) {
    std::vector<std::string> warnings;
    const host::Preset preset = ReadNamed(id, warnings);
    return Load(preset, std::move(warnings));
}

std::string Player::LoadText(std::string_view text) {
    std::vector<std::string> warnings;
    const host::Preset preset = host::ParsePreset(text, instrument.Catalog(), warnings, "/");
    return Load(preset, std::move(warnings));
}

std::string Player::Capture(std::string name) const {
    return host::FormatPreset(instrument.CapturePreset(std::move(name)), instrument.Catalog(), "/");
}

std::string Player::InsertSong(std::string_view bytes) {
    song.Insert(host::MidiFile::Parse({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}));
    const auto& list = song.Song().Events();
    const auto notes = std::count_if(list.begin(), list.end(), [](const host::MidiEvent& event) {
        return event.message.Kind() == 0x90 && event.message.data2 > 0;
    });
    return Text({{"seconds", song.Song().Seconds()}, {"notes", notes}});
}

float* Player::Channel(std::size_t channel, std::size_t frames) {
    decoded[channel].resize(frames);
    return decoded[channel].data();
}

void Player::PutSound(const std::string& path, std::uint32_t channels, std::uint32_t rate) {
    host::PutDecodedSound(path, std::span(decoded).first(std::min<std::size_t>(channels, 2)), rate);
    decoded = {};
}

void Player::LoadSample(std::uint32_t slot, std::string_view name, std::uint32_t channels,
                        std::uint32_t rate) {
    // Another sound of the same name in another slot stays what it is.
    std::string path = "/" + std::string(name);
    for (std::uint32_t other = 0; other < host::Instrument::sampleCount; ++other) {
        if (other != slot && instrument.SamplePath(other) == path) {
            path = "/" + std::to_string(slot + 1) + path;
            break;
        }
    }
    PutSound(path, channels, rate);
    instrument.LoadSample(slot, path);
}

std::string Player::Slots() const {
    json list = json::array();
    for (std::uint32_t slot = 0; slot < host::Instrument::sampleCount; ++slot) {
        list.push_back({{"name", instrument.SamplePath(slot).filename().string()},
                        {"isLoaded", instrument.HasSample(slot)},
                        {"key", instrument.KeyOf(slot)}});
    }
    return Text(list);
}

const float* Player::TakeMeters() {
    const host::MeterReading reading = instrument.TakeMeters();
    std::copy(reading.bands.begin(), reading.bands.end(), meters.begin());
    const std::array<float, 5> rest{reading.hiss, reading.buzz, reading.programOverload,
                                    reading.carrierOverload, reading.limiterReduction};
    std::copy(rest.begin(), rest.end(), meters.begin() + host::MeterReading::bandCount);
    return meters.data();
}

std::string Player::Messages() { return Text(instrument.TakeMessages()); }

} // namespace orphia::web
