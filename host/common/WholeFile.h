// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace orphia::host {

/// All bytes of a file. Throws FileError, without the file's name, for what cannot be read, and for a file
/// of more than maxSize bytes: it "is too large for" a `kind`, such as "a preset".
std::string ReadWholeFile(const std::filesystem::path& path, std::uintmax_t maxSize, std::string_view kind);

} // namespace orphia::host
