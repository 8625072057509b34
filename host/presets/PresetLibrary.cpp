// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/presets/PresetLibrary.h"

#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "host/common/Places.h"
#include "host/common/TextDistance.h"
#include "support/platform/Platform.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <system_error>

namespace orphia::host {

namespace {

constexpr std::string_view ending = ".json";

/// What counts of a name: its letters and digits, in lower case.
std::string Plain(std::string_view text) {
    std::string plain;
    for (const char c : text) {
        if (c >= 'A' && c <= 'Z') {
            plain += static_cast<char>(c - 'A' + 'a');
        } else if (c != ' ' && c != '-' && c != '_') {
            plain += c;
        }
    }
    return plain;
}

bool ById(const PresetLibrary::Entry& a, const PresetLibrary::Entry& b) { return a.id < b.id; }

bool IsFile(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

} // namespace

std::filesystem::path PresetLibrary::UserFolder() {
    const std::optional<std::string> data = Velmora::Platform::UserDataFolder();
    return data ? PathOf(*data) / "Velmora" / "Orphia VX" / "Presets" : std::filesystem::path();
}

std::filesystem::path PresetLibrary::FactoryFolder() {
    const std::vector<std::filesystem::path> places = FactoryPlaces();
    const auto found = std::find_if(places.begin(), places.end(), [](const std::filesystem::path& place) {
        std::error_code error;
        return std::filesystem::is_directory(place, error);
    });
    return found != places.end() ? *found : places.front();
}

void PresetLibrary::ReadFolder(const std::filesystem::path& folder, std::vector<Entry>& own) {
    std::error_code error;
    std::filesystem::directory_iterator file(folder, error);
    for (; !error && file != std::filesystem::directory_iterator(); file.increment(error)) {
        const std::filesystem::path& path = file->path();
        if (path.extension() != ending) {
            continue;
        }
        try {
            // Nobody has asked for reading a pipe or a device.
            if (!IsFile(path)) {
                throw FileError(fmt::format("{}: is not a file", TextOf(path)));
            }
            const PresetSummary summary = ReadPresetSummary(path);
            own.push_back({TextOf(path.stem()), summary.name, summary.description, summary.tags, path});
        } catch (const FileError& reason) {
            leftOut.push_back(fmt::format("{} (left out of the presets)", reason.what()));
        }
    }
    std::sort(own.begin(), own.end(), ById);
    std::sort(leftOut.begin(), leftOut.end());
}

PresetLibrary::PresetLibrary() : PresetLibrary(UserFolder()) {}

PresetLibrary::PresetLibrary(const std::filesystem::path& folder) {
    std::vector<Entry> own;
    if (!folder.empty()) {
        ReadFolder(folder, own);
    }
    for (const BuiltInPreset& preset : BuiltInPresets()) {
        const PresetSummary summary = SummaryOf(preset.text);
        entries.push_back({std::string(preset.id), summary.name, summary.description, summary.tags, {}});
    }
    for (Entry& entry : own) {
        const auto same = std::find_if(entries.begin(), entries.end(),
                                       [&entry](const Entry& other) { return other.id == entry.id; });
        if (same != entries.end()) {
            *same = std::move(entry);
        } else {
            entries.push_back(std::move(entry));
        }
    }
}

const PresetLibrary::Entry* PresetLibrary::FindPlain(std::string_view wanted) const {
    for (const std::string Entry::*part : {&Entry::id, &Entry::name}) {
        for (const Entry& entry : entries) {
            if (Plain(entry.*part) == wanted) {
                return &entry;
            }
        }
    }
    return nullptr;
}

const PresetLibrary::Entry& PresetLibrary::Find(std::string_view idOrName) const {
    const std::string wanted = Plain(idOrName);
    if (const Entry* entry = FindPlain(wanted)) {
        return *entry;
    }
    const std::size_t tolerance = std::max<std::size_t>(2, wanted.size() / 3);
    std::vector<std::string_view> similar;
    for (const Entry& entry : entries) {
        if (TextDistance(wanted, Plain(entry.id), tolerance) <= tolerance) {
            similar.push_back(entry.id);
        }
    }
    throw UsageError(fmt::format("unknown preset '{}'", Excerpt(idOrName)) +
                     (similar.empty() ? "" : fmt::format(" (similar: {})", fmt::join(similar, ", "))));
}

Preset PresetLibrary::Load(const Entry& entry, const ParameterCatalog& catalog,
                           std::vector<std::string>& warnings) {
    if (!entry.IsBuiltIn()) {
        return ReadPreset(entry.path, catalog, warnings);
    }
    const auto presets = BuiltInPresets();
    const auto found = std::find_if(presets.begin(), presets.end(),
                                    [&entry](const BuiltInPreset& preset) { return preset.id == entry.id; });
    if (found == presets.end()) {
        throw FileError(fmt::format("{}: is not built in", entry.id));
    }
    return ParsePreset(found->text, catalog, warnings, FactoryFolder());
}

Preset PresetLibrary::Open(const std::string& pathOrName, const ParameterCatalog& catalog,
                           std::vector<std::string>& warnings) const {
    if (pathOrName == defaultId) {
        return DefaultPreset(catalog);
    }
    if (pathOrName.ends_with(ending) || IsFile(PathOf(pathOrName))) {
        return ReadPreset(PathOf(pathOrName), catalog, warnings);
    }
    warnings.insert(warnings.end(), leftOut.begin(), leftOut.end());
    const std::string wanted = Plain(pathOrName);
    if (FindPlain(wanted) == nullptr && wanted == Plain(SummaryOf(DefaultPresetText(catalog.Tree())).name)) {
        return DefaultPreset(catalog);
    }
    return Load(Find(pathOrName), catalog, warnings);
}

} // namespace orphia::host
