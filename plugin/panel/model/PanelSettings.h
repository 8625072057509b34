// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace orphia::panel {

/// What a player wants of every panel that he opens; kept in a file of the user's.
struct PanelSettings {
    static constexpr float minimumScale = 0.75F;
    static constexpr float maximumScale = 2.0F;

    float scale = 1.0F;
    bool isBright = false;
    /// Ids of presets.
    std::set<std::string> favourites;

    /// Where it is: in the folder of the user's settings; empty when the system knows none.
    static std::filesystem::path DefaultFile();
    /// What cannot be read is as in a new one.
    static PanelSettings Read(const std::filesystem::path& file);
    /// Whole or not at all. False when that is not possible.
    bool Write(const std::filesystem::path& file) const;
};

} // namespace orphia::panel
