// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/common/Files.h"

#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "support/platform/Platform.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <system_error>

namespace orphia::host {

namespace {

/// Where a chain of links leads, also when nothing is there yet: what is written appears there, and the links
/// stay.
std::filesystem::path Resolved(std::filesystem::path path) {
    constexpr int longestChain = 40;
    std::error_code error;
    for (int links = 0; links < longestChain && std::filesystem::is_symlink(path, error); ++links) {
        const std::filesystem::path next = std::filesystem::read_symlink(path, error);
        if (error) {
            break;
        }
        path = path.parent_path() / next;
    }
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(path, error);
    return error || resolved.empty() ? path : resolved;
}

[[noreturn]] void Refuse(const std::filesystem::path& path, int reason) {
    throw FileError(
        fmt::format("{}: cannot be written: {}", TextOf(path), std::generic_category().message(reason)));
}

/// A name that nobody can guess or has taken.
std::filesystem::path TemporaryName(const std::filesystem::path& target) {
    std::random_device random;
    return target.parent_path() / fmt::format(".orphia-{:08x}{:08x}.part", random(), random());
}

} // namespace

std::string ReadWholeFile(const std::filesystem::path& path, std::uintmax_t maxSize, std::string_view kind) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw FileError("is a directory");
    }
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (!error && size > maxSize) {
        throw FileError(fmt::format("is too large for {}", kind));
    }
    // Not a stream, which would go on waiting for a pipe when a signal asks the program to end.
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        Velmora::Platform::OpenFile(TextOf(path), "rb"), &std::fclose);
    if (!file) {
        throw FileError("cannot be opened: " + std::generic_category().message(errno));
    }
    // A pipe has no size: it is read as far as a file may be long.
    std::string text;
    std::array<char, 4096> chunk{};
    std::size_t count = chunk.size();
    while (count == chunk.size() && text.size() <= maxSize) {
        count = std::fread(chunk.data(), 1, chunk.size(), file.get());
        text.append(chunk.data(), count);
    }
    if (std::ferror(file.get()) != 0) {
        throw FileError("cannot be read: " + std::generic_category().message(errno));
    }
    if (text.size() > maxSize) {
        throw FileError(fmt::format("is too large for {}", kind));
    }
    return text;
}

PendingFile::PendingFile(const std::filesystem::path& path)
    : target(Resolved(path)), temporary(TemporaryName(target)) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(target, error);
    if (std::filesystem::is_directory(status)) {
        Refuse(path, EISDIR);
    }
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        throw FileError(fmt::format("{}: cannot be written: is not a file", TextOf(path)));
    }
    if (!std::ofstream(temporary, std::ios::binary)) {
        Refuse(path, errno);
    }
}

PendingFile::~PendingFile() {
    if (!committed) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
    }
}

void PendingFile::Write(std::string_view text) {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) {
        Refuse(target, errno);
    }
}

void PendingFile::Commit() {
    std::error_code error;
    std::filesystem::rename(temporary, target, error);
    if (error) {
        throw FileError(fmt::format("{}: cannot be written: {}", TextOf(target), error.message()));
    }
    committed = true;
}

} // namespace orphia::host
