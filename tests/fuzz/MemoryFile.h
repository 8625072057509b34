// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "fuzz/Require.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace orphia::fuzz {

/// A file without a place on the disk.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : descriptor(memfd_create("fuzz", MFD_CLOEXEC)) {
        Require(descriptor >= 0 && write(descriptor, data, size) == static_cast<ssize_t>(size), "no file");
    }
    ~MemoryFile() { close(descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor;
};

} // namespace orphia::fuzz
