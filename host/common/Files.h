// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace orphia::host {

/// All bytes of a file. Throws FileError, without the file's name, for what cannot be read, and for a file
/// of more than maxSize bytes: it "is too large for" a `kind`, such as "a preset". A pipe is read to its end;
/// a signal whose handler interrupts system calls ends the wait.
std::string ReadWholeFile(const std::filesystem::path& path, std::uintmax_t maxSize, std::string_view kind);

/// A file that appears whole or not at all: it is written under another name in the same folder, and takes
/// its own name, and the place of a file that was there, with Commit. Without that it leaves nothing.
class PendingFile {
public:
    /// Creates the empty file under its other name. Throws FileError when that is not possible, or when
    /// something else than a file has the target's name. A link is followed, also one that leads to
    /// nothing yet.
    explicit PendingFile(const std::filesystem::path& target);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::filesystem::path& TemporaryPath() const { return temporary; }
    const std::filesystem::path& Target() const { return target; }

    /// Replaces what is in the file.
    void Write(std::string_view text);

    /// All writers must have closed the file. Throws FileError.
    void Commit();

private:
    std::filesystem::path target;
    std::filesystem::path temporary;
    bool committed = false;
};

} // namespace orphia::host
