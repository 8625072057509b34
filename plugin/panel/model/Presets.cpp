// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/Presets.h"

#include "host/common/Files.h"
#include "plugin/panel/model/Search.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <set>

namespace orphia::panel {

namespace {

constexpr std::uintmax_t largestPreset = 1U << 20U;
constexpr std::size_t longestId = 60;

} // namespace

Presets::Presets(plugin::PluginInstrument& ofInstrument, History& ofHistory, PanelSettings& ofSettings)
    : instrument(ofInstrument), history(ofHistory), settings(ofSettings) {}

std::vector<std::string> Presets::Tags() const {
    std::set<std::string> tags;
    const auto programs = instrument.SharedPrograms();
    for (const auto& program : *programs) {
        tags.insert(program.tags.begin(), program.tags.end());
    }
    return {tags.begin(), tags.end()};
}

std::vector<std::uint32_t> Presets::Find(std::string_view typed, Show show) const {
    const auto programs = instrument.SharedPrograms();
    std::vector<std::uint32_t> found = FindPrograms(*programs, typed);
    std::erase_if(found, [&](std::uint32_t n) {
        const auto& program = (*programs)[n];
        return (show == Show::Own && program.isFactory) ||
               (show == Show::Favourites && !IsFavourite(program.id));
    });
    return found;
}

void Presets::ToggleFavourite(const std::string& id) {
    if (settings.favourites.erase(id) == 0) {
        settings.favourites.insert(id);
    }
}

std::string Presets::IdOf(std::string_view name) {
    std::string id;
    for (const char each : name.substr(0, longestId)) {
        const auto c = static_cast<unsigned char>(each);
        if (c < 0x80 && std::isalnum(c) != 0) {
            id += static_cast<char>(std::tolower(c));
        } else if (!id.empty() && id.back() != '-') {
            id += '-';
        }
    }
    while (!id.empty() && id.back() == '-') {
        id.pop_back();
    }
    return id;
}

bool Presets::Save(std::string_view name) {
    std::string id = IdOf(name);
    if (id.empty()) {
        return false;
    }
    const auto programs = instrument.SharedPrograms();
    const bool isFactory = std::ranges::any_of(
        *programs, [&id](const auto& program) { return program.isFactory && program.id == id; });
    if (isFactory) {
        id += "-own";
    }
    if (!instrument.SaveProgram(id, std::string(name))) {
        return false;
    }
    history.MarkSaved();
    return true;
}

bool Presets::Export(const std::filesystem::path& file) {
    try {
        host::PendingFile pending(file);
        pending.Write(instrument.SaveState());
        pending.Commit();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool Presets::Import(const std::filesystem::path& file) {
    try {
        const std::string text = host::ReadWholeFile(file, largestPreset, "a preset");
        return history.ChangeAll("Import", [this, &text] { return instrument.BeginState(text); });
    } catch (const std::exception&) {
        return false;
    }
}

void Presets::Compare() {
    std::string now = instrument.SaveState();
    if (!otherState.empty() && otherState != now) {
        history.ChangeAll("Compare", [this] { return instrument.BeginState(otherState); });
    }
    otherState = std::move(now);
    isOther = !isOther;
}

} // namespace orphia::panel
