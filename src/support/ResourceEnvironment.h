// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Platform.h"

#include <functional>
#include <optional>
#include <string>

namespace Velmora {

/// What `Resources` asks of the system. The defaults are the real system; tests put theirs in place.
struct ResourceEnvironment {
    /// The machine-wide data folder, or nothing when the system knows none.
    std::function<std::optional<std::string>()> machineDataFolder = Platform::MachineDataFolder;
    /// Full path of the library that holds this code, empty when it cannot be told.
    std::function<std::string()> libraryPath = Platform::LibraryPath;
    /// Whether something exists at a path.
    std::function<bool(const std::string& path)> fileExists = Platform::FileExists;
    /// File ending of a loadable library, with its dot.
    std::string librarySuffix{Platform::LibrarySuffix()};
};

} // namespace Velmora
