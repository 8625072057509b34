// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <vector>

namespace orphia::panel {

/// Which file goes to which sample, from 0.
using SamplePaths = std::map<std::uint32_t, std::filesystem::path>;

/// What is in a folder, not in those below it, and has the name of a sound file: in order of name, in which
/// "take 2" comes before "take 10".
std::vector<std::filesystem::path> SoundsIn(const std::filesystem::path& folder);

struct SampleFill {
    SamplePaths paths;
    /// Sounds for which there was no place.
    std::size_t leftOut = 0;
};

/// What dropped files and folders do, all of them in order of name: a single file replaces the sample that it
/// is dropped on; several, and those of folders, go to that sample and the next ones, as far as they are
/// free, and then to the free ones in front of it.
SampleFill FillWith(const std::vector<std::filesystem::path>& dropped, std::uint32_t target,
                    const std::set<std::uint32_t>& taken);

/// When a missing sample was found as `found`: where that is, and where others that are missing are then: in
/// the same folder, or as far away from it as they were before.
SamplePaths FindMissing(std::uint32_t sample, const std::filesystem::path& found, const SamplePaths& missing);

} // namespace orphia::panel
