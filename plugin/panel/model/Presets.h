// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "plugin/panel/model/History.h"
#include "plugin/panel/model/PanelSettings.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::panel {

/// What a browser of presets does, without a screen.
class Presets {
public:
    enum class Show { All, Favourites, Own };

    Presets(plugin::PluginInstrument& instrument, History& history, PanelSettings& settings);

    /// All tags, in order of the alphabet.
    std::vector<std::string> Tags() const;
    /// Those that fit what was typed, by index.
    std::vector<std::uint32_t> Find(std::string_view typed, Show show) const;
    bool IsFavourite(const std::string& id) const { return settings.favourites.contains(id); }
    void ToggleFavourite(const std::string& id);

    /// As a preset of the user's own, under a file's name made of its name; a factory preset is never
    /// overwritten. False, and nothing is written, for a name without a letter or digit.
    bool Save(std::string_view name);
    static std::string IdOf(std::string_view name);

    /// The whole sound as a file, and back; that can be undone.
    bool Export(const std::filesystem::path& file);
    bool Import(const std::filesystem::path& file);

    /// Two sounds to compare: goes over to the other one, which is first a copy of this.
    void Compare();
    bool IsOther() const { return isOther; }

private:
    plugin::PluginInstrument& instrument;
    History& history;
    PanelSettings& settings;
    std::string otherState;
    bool isOther = false;
};

} // namespace orphia::panel
