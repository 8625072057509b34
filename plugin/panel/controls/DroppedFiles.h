// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <filesystem>
#include <vector>

namespace orphia::panel {

/// As JUCE names files that are dragged or chosen.
inline std::vector<std::filesystem::path> PathsOf(const juce::StringArray& files) {
    std::vector<std::filesystem::path> paths;
    for (const juce::String& each : files) {
        paths.emplace_back(each.toStdString());
    }
    return paths;
}

} // namespace orphia::panel
