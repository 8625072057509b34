// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/presets/Preset.h"

#include <string>
#include <string_view>
#include <vector>

namespace orphia::tools {

/// The name of the preset that sounds when none is chosen.
constexpr std::string_view defaultPresetName = "default";

/// A preset of the instrument as users name it: a file, a preset of the library, or the default one. Throws
/// FileError and UsageError.
host::Preset OpenPreset(const std::string& pathOrName, std::vector<std::string>& warnings);

} // namespace orphia::tools
