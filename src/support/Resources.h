// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/CLog.h"
#include "support/CSingleton.h"
#include "support/platform/Platform.h"

#include <array>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

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

/// Knows the product's name and its shared folders. Paths are UTF-8. Set-up threads only: it locks,
/// allocates and reads the file system.
class Resources : public CSingleton<Resources> {
public:
    /// Asks the real system and logs to the log of the process.
    Resources();
    /// Asks `environment` instead and logs to `log`, which must outlive this object.
    Resources(ResourceEnvironment environment, CLog& log);

    /// Machine-wide data folder, cut behind its last separator; empty when the system knows none.
    const std::string& GetProgramDataPath() const { return programDataPath; }
    /// File name of this library without ending; empty when the library's path could not be told.
    const std::string& GetProductName() const { return productName; }

    /// Content folders of the host shell, kept for it; no look-up of this class reads them.
    std::vector<std::string> GetFolders() const;
    void SetFolders(std::vector<std::string> newFolders);

    /// A copy of the folder that the host shell assigned. While there is none, logs an error and returns
    /// an empty text.
    std::string GetResourcesFolder() const;
    /// Assigns the resources folder. A look-up appends to it as it stands, so it ends with a separator.
    void SetResourcesFolder(std::string folder);

    /// Finds the folder, with its last separator, that holds the loadable library `name` (without
    /// ending): the machine's shared folder first, then the current directory, then the folders around
    /// the resources folder and this library. Raises std::runtime_error when no place has it.
    std::string FindLibraryFolder(const std::string& name) const;

private:
    void FindProgramDataPath();
    void FindLibraryPath();
    void FindProductName();
    std::array<std::string, 6> LibraryCandidates(const std::string& name) const;

    ResourceEnvironment system;
    CLog& log;
    std::string libraryPath;

    std::string programDataPath;
    std::string productName;
    std::vector<std::string> folders;
    std::string resourcesFolder;
    mutable std::mutex mutex; // guards folders and resourcesFolder, which a host may set at any time
};

} // namespace Velmora
