// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace orphia::standalone {

/// The files in which this program remembers, each whole or not at all.
class Settings {
public:
    /// Below XDG_CONFIG_HOME and XDG_STATE_HOME, or where they are by default.
    Settings();

    std::filesystem::path devices;
    std::filesystem::path lastState;

    /// Nothing when there is no such file, or none that can be read.
    static std::optional<std::string> Read(const std::filesystem::path& file);
    /// False, with a line on the terminal, when it is not possible.
    static bool Write(const std::filesystem::path& file, const std::string& text);
};

} // namespace orphia::standalone
