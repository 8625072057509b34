// SPDX-License-Identifier: GPL-3.0-or-later
// The build tells how the folders of an installation lie to each other.
#include "host/common/Places.h"

#include "host/common/Paths.h"
#include "support/platform/Platform.h"

#include <algorithm>
#include <initializer_list>
#include <system_error>

namespace orphia::host {

namespace {

/// Each place once, seen from the folder of this code.
std::vector<std::filesystem::path> FromHere(std::initializer_list<std::filesystem::path> places) {
    std::error_code error;
    const std::filesystem::path file = PathOf(Velmora::Platform::LibraryPath());
    const std::filesystem::path real = std::filesystem::canonical(file, error);
    const std::filesystem::path folder = (error ? file : real).parent_path();
    std::vector<std::filesystem::path> found;
    for (const auto& place : places) {
        const std::filesystem::path path = (folder / place).lexically_normal();
        if (std::find(found.begin(), found.end(), path) == found.end()) {
            found.push_back(path);
        }
    }
    return found;
}

} // namespace

std::vector<std::filesystem::path> EnginePlaces(std::string_view fileName) {
    const std::filesystem::path name = PathOf(fileName);
    return FromHere(
        {name, ".." / ("lib" / name), ORPHIA_PROGRAMS_TO_ENGINE / name, ORPHIA_LIBRARIES_TO_ENGINE / name});
}

std::vector<std::filesystem::path> FactoryPlaces() {
    return FromHere({"presets/factory", "../share/orphia-vx/presets/factory",
                     ORPHIA_PROGRAMS_TO_SHARE "/presets/factory",
                     ORPHIA_LIBRARIES_TO_SHARE "/presets/factory"});
}

} // namespace orphia::host
