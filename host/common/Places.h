// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace orphia::host {

/// Where the engine's library may be, in order. All seen from the program, plug-in or library that this code
/// is linked into, with links resolved, so that an installation or a bundle may be moved as a whole: the
/// folder of that file, `lib` beside it, and where an installation has the engine as seen from its programs
/// and from its libraries.
std::vector<std::filesystem::path> EnginePlaces(std::string_view fileName);

/// Where the folder "factory" of the presets may be, in the same way: in the bundle of a plug-in, or in
/// `share` of an installation or of the build.
std::vector<std::filesystem::path> FactoryPlaces();

} // namespace orphia::host
