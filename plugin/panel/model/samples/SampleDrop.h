// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/model/PanelModel.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace orphia::panel {

/// Files and folders over a panel or one of its samples, from 0: what a drop would do, as a notice of the
/// panel. On a sample a single file replaces it; elsewhere no sample is replaced, and the first that is free
/// is the chosen one or one behind it.
void TellOfDrop(PanelModel& panel, const std::vector<std::filesystem::path>& files,
                std::optional<std::uint32_t> onto = std::nullopt);

/// Orders it, chooses the first that comes, and tells what is read.
void DropSamples(PanelModel& panel, const std::vector<std::filesystem::path>& files,
                 std::optional<std::uint32_t> onto = std::nullopt);

} // namespace orphia::panel
