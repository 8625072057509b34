// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Resources.h"

#include <stdexcept>
#include <string_view>
#include <utility>

namespace Velmora {

namespace {

constexpr std::string_view logCategory = "description";
constexpr std::string_view separators = "/\\";
// Both products read one data folder, which carries the name of the later one.
constexpr std::string_view earlierProduct = "Lumen Desk 3";
constexpr std::string_view laterProduct = "Lumen Desk 4";
constexpr int levelsFromLibraryToBundle = 3;

std::string CutBehindLastSeparator(const std::string& path) {
    const auto last = path.find_last_of(separators);
    return last == std::string::npos ? path : path.substr(0, last + 1);
}

std::string ParentFolder(const std::string& path) {
    const auto last = path.find_last_of(separators);
    return last == std::string::npos ? std::string() : path.substr(0, last);
}

std::string FileNameWithoutExtension(const std::string& path) {
    const auto last = path.find_last_of(separators);
    const std::string fileName = last == std::string::npos ? path : path.substr(last + 1);
    return fileName.substr(0, fileName.rfind('.'));
}

// Drive letters come in either case; one spelling keeps paths comparable.
void RaiseDriveLetter(std::string& path) {
    if (path.size() >= 3 && path[0] >= 'a' && path[0] <= 'z' && path[1] == ':' &&
        separators.find(path[2]) != std::string_view::npos) {
        path[0] = static_cast<char>(path[0] - 'a' + 'A');
    }
}

} // namespace

Resources::Resources() : Resources(ResourceEnvironment(), CLog::GetInstance()) {}

Resources::Resources(ResourceEnvironment environment, CLog& logToUse)
    : system(std::move(environment)), log(logToUse) {
    FindProgramDataPath();
    FindLibraryPath();
    if (!libraryPath.empty()) {
        FindProductName();
    }
}

void Resources::FindProgramDataPath() {
    const auto folder = system.machineDataFolder();
    programDataPath = folder.value_or(std::string());
    if (folder) {
        log.Log(logCategory, LogLevel::Info, "[CONF] ProgramData Path : " + programDataPath);
    } else {
        log.Log(logCategory, LogLevel::Error, "[CONF] ProgramData not found - Path : " + programDataPath);
    }
    programDataPath = CutBehindLastSeparator(programDataPath);
}

void Resources::FindLibraryPath() {
    libraryPath = system.libraryPath();
    RaiseDriveLetter(libraryPath);
    log.Log(logCategory, LogLevel::Notice, "[CONF] GetDyLibFullPath filename:" + libraryPath);
    if (libraryPath.empty()) {
        log.Log(logCategory, LogLevel::Notice, "[CONF] DyLibFullPath not found - Path : ");
    }
}

void Resources::FindProductName() {
    productName = FileNameWithoutExtension(libraryPath);
    if (productName == earlierProduct) {
        productName = laterProduct;
    }
    log.Log(logCategory, LogLevel::Notice, "[CONF] productname:" + productName);
}

std::vector<std::string> Resources::GetFolders() const {
    const std::lock_guard lock(mutex);
    return folders;
}

void Resources::SetFolders(std::vector<std::string> newFolders) {
    const std::lock_guard lock(mutex);
    folders = std::move(newFolders);
}

std::string Resources::GetResourcesFolder() const {
    const std::lock_guard lock(mutex);
    if (resourcesFolder.empty()) {
        log.Log(logCategory, LogLevel::Error, "Resources Folder not yet defined");
    }
    return resourcesFolder;
}

void Resources::SetResourcesFolder(std::string folder) {
    const std::lock_guard lock(mutex);
    resourcesFolder = std::move(folder);
}

std::string Resources::FindLibraryFolder(const std::string& name) const {
    const auto candidates = LibraryCandidates(name);
    for (const auto& candidate : candidates) {
        if (system.fileExists(candidate)) {
            return CutBehindLastSeparator(candidate);
        }
    }
    throw std::runtime_error("ERROR : unable to find " + name + " folder");
}

std::array<std::string, 6> Resources::LibraryCandidates(const std::string& name) const {
    std::string resources;
    {
        const std::lock_guard lock(mutex);
        resources = resourcesFolder;
    }
    std::string bundle = libraryPath;
    for (int level = 0; level < levelsFromLibraryToBundle; ++level) {
        bundle = ParentFolder(bundle);
    }
    const std::string plainFile = name + system.librarySuffix;
    const std::string file = "x64/" + plainFile;
    return {programDataPath + "/Velmora/Shared/" + file,
            "./" + plainFile,
            resources.empty() ? bundle + "/data/Shared/" + file : resources + "../Shared/" + file,
            bundle + "/Shared/" + file,
            bundle + "/../../Shared/" + file,
            resources + "../../Shared/" + file};
}

} // namespace Velmora
