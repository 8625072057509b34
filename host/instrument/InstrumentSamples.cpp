// SPDX-License-Identifier: GPL-3.0-or-later
// The samples and presets of the instrument: not for audio threads.
#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "host/instrument/InstrumentEngine.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/NeutralStart.h"
#include "support/platform/Threads.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace orphia::host {

namespace {

/// What the engine keeps of a path, in bytes.
constexpr std::size_t longestPath = 256;

void CheckSample(std::uint32_t sample) {
    if (sample >= Instrument::sampleCount) {
        throw UsageError(
            fmt::format("there is no sample {}, only 1 to {}", sample + 1, Instrument::sampleCount));
    }
}

} // namespace

void Instrument::Engine::SendPath(std::uint32_t sample, const std::string& path) {
    auto size = static_cast<Velmora::u32>(path.size());
    processor->SetParameterData(ids.firstPath + sample, path.data(), &size);
}

bool Instrument::Engine::WaitForLoads(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (processor->Idle(); processor->IsLoading(); processor->Idle()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        if (Velmora::Platform::HasThreads()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    // What was emptied at once is told in the next round.
    processor->Idle();
    return true;
}

void Instrument::LoadSample(std::uint32_t sample, const std::filesystem::path& path,
                            std::chrono::milliseconds limit) {
    CheckSample(sample);
    // The engine reads a file once: without the empty path the same file would not be read again, and an old
    // sample would stay when the new one fails.
    ClearSample(sample);
    const std::filesystem::path whole =
        path.empty() ? path : std::filesystem::absolute(path).lexically_normal();
    if (path.empty() || TextOf(whole).size() > longestPath) {
        throw FileError(fmt::format("{}: is no path of a sample; they have at most {} bytes", TextOf(whole),
                                    longestPath));
    }
    engine->SendPath(sample, TextOf(whole));
    if (!engine->WaitForLoads(limit)) {
        throw FileError(fmt::format("{}: takes too long to load", TextOf(path)));
    }
    if (!HasSample(sample)) {
        throw FileError(fmt::format("{}: cannot be used as a sample", TextOf(path)));
    }
    engine->paths[sample] = whole;
}

void Instrument::ClearSample(std::uint32_t sample) {
    CheckSample(sample);
    engine->SendPath(sample, {});
    engine->WaitForLoads(loadLimit);
    engine->paths[sample].clear();
}

bool Instrument::HasSample(std::uint32_t sample) const {
    return sample < sampleCount && engine->HasSample(sample);
}

const std::filesystem::path& Instrument::SamplePath(std::uint32_t sample) const {
    CheckSample(sample);
    return engine->paths[sample];
}

bool Instrument::IsLoading() const { return engine->processor->IsLoading(); }

void Instrument::Apply(const Preset& preset) {
    std::for_each(preset.settings.begin(), preset.settings.end(),
                  [this](const ParameterSetting& setting) { Set(setting); });
}

std::vector<std::string> Instrument::LoadPreset(const Preset& preset, std::chrono::milliseconds limit) {
    std::vector<std::string> problems;
    engine->BeginLoading();
    for (std::uint32_t sample = 0; preset.samples && sample < sampleCount; ++sample) {
        const auto found = preset.samples->find(sample);
        try {
            if (found == preset.samples->end()) {
                ClearSample(sample);
            } else if (engine->paths[sample] != found->second || !HasSample(sample)) {
                LoadSample(sample, found->second, limit);
            }
        } catch (const FileError& error) {
            problems.emplace_back(error.what());
        }
    }
    LoadSettings(preset);
    engine->ForgetNotes();
    engine->controls->Restart();
    return problems;
}

/// First everything as in a new instrument, then what the preset names.
void Instrument::LoadSettings(const Preset& preset) {
    const NeutralStart& neutral = NeutralStart::Get();
    const auto& parameters = Catalog().Parameters();
    Engine::Positions start(parameters.size());
    Engine::Positions named(parameters.size());
    for (const ParameterInfo& info : parameters) {
        if (neutral.IsPartOfPresets(info.id) || engine->isTouched[info.id]) {
            start[info.id] = neutral.Position(info.id);
        }
    }
    for (const ParameterSetting& setting : preset.settings) {
        if (setting.id < parameters.size() && parameters[setting.id].IsSettable()) {
            named[setting.id] = PositionOf(Catalog(), setting);
        }
    }
    engine->Write(start);
    engine->Write(named);
    std::transform(named.begin(), named.end(), engine->isTouched.begin(),
                   [](const std::optional<float>& position) { return position.has_value(); });
}

/// Some parameters move others, which must not have the last word: what was moved is written once more.
void Instrument::Engine::Write(const Positions& positions) {
    for (int round = 0; round < 2; ++round) {
        for (std::uint32_t id = 0; id < positions.size(); ++id) {
            if (positions[id] && (round == 0 || Position(id) != *positions[id])) {
                Write(id, *positions[id]);
            }
        }
    }
}

Preset Instrument::CapturePreset(std::string name) const {
    return CapturePreset(TakeSnapshot(), std::move(name));
}

Instrument::Snapshot Instrument::TakeSnapshot() const {
    Snapshot snapshot{std::vector<float>(Catalog().Parameters().size()), engine->isTouched};
    TakeSnapshot(snapshot);
    return snapshot;
}

void Instrument::TakeSnapshot(Snapshot& snapshot) const {
    for (std::uint32_t id = 0; id < snapshot.positions.size(); ++id) {
        snapshot.positions[id] = Position(id);
    }
    std::copy(engine->isTouched.begin(), engine->isTouched.end(), snapshot.touched.begin());
}

Preset Instrument::CapturePreset(const Snapshot& snapshot, std::string name) const {
    const NeutralStart& neutral = NeutralStart::Get();
    Preset preset;
    preset.name = std::move(name);
    for (const ParameterInfo& info : Catalog().Parameters()) {
        const float position = snapshot.positions[info.id];
        const bool isControl = info.role == ParameterRole::Control;
        const bool isMovedRoute = info.role == ParameterRole::Route && position != neutral.Position(info.id);
        if (isControl || isMovedRoute || (snapshot.touched[info.id] && info.IsSettable())) {
            preset.settings.push_back(SettingAt(Catalog(), info.id, position));
        }
    }
    preset.samples.emplace();
    for (std::uint32_t sample = 0; sample < sampleCount; ++sample) {
        if (!engine->paths[sample].empty()) {
            preset.samples->emplace(sample, engine->paths[sample]);
        }
    }
    return preset;
}

} // namespace orphia::host
