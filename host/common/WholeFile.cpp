// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/common/WholeFile.h"

#include "host/common/Errors.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <system_error>

namespace orphia::host {

std::string ReadWholeFile(const std::filesystem::path& path, std::uintmax_t maxSize, std::string_view kind) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw FileError("is a directory");
    }
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (!error && size > maxSize) {
        throw FileError(fmt::format("is too large for {}", kind));
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw FileError("cannot be opened: " + std::generic_category().message(errno));
    }
    // A pipe has no size: it is read as far as a file may be long.
    std::string text;
    std::array<char, 4096> chunk{};
    while (file && text.size() <= maxSize) {
        file.read(chunk.data(), chunk.size());
        text.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (file.bad()) {
        throw FileError("cannot be read");
    }
    if (text.size() > maxSize) {
        throw FileError(fmt::format("is too large for {}", kind));
    }
    return text;
}

} // namespace orphia::host
