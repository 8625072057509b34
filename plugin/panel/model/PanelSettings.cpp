// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/PanelSettings.h"

#include "host/common/Files.h"
#include "host/presets/PresetLibrary.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <exception>

namespace orphia::panel {

namespace {

constexpr std::uintmax_t largestSettings = 1U << 20U;

} // namespace

std::filesystem::path PanelSettings::DefaultFile() {
    const std::filesystem::path presets = host::PresetLibrary::UserFolder();
    return presets.empty() ? presets : presets.parent_path() / "panel.json";
}

PanelSettings PanelSettings::Read(const std::filesystem::path& file) {
    PanelSettings settings;
    try {
        const auto text = host::ReadWholeFile(file, largestSettings, "a panel's settings");
        const auto json = nlohmann::json::parse(text);
        settings.scale = std::clamp(json.value("scale", 1.0F), minimumScale, maximumScale);
        settings.isBright = json.value("bright", false);
        settings.favourites = json.value("favourites", std::set<std::string>());
    } catch (const std::exception&) {
        return {};
    }
    return settings;
}

bool PanelSettings::Write(const std::filesystem::path& file) const {
    try {
        std::filesystem::create_directories(file.parent_path());
        host::PendingFile pending(file);
        pending.Write(
            nlohmann::json{{"scale", scale}, {"bright", isBright}, {"favourites", favourites}}.dump(2) +
            "\n");
        pending.Commit();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace orphia::panel
