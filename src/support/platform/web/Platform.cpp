// SPDX-License-Identifier: GPL-3.0-or-later
// A browser, or whatever else runs WebAssembly: one module in a sandbox, without files, folders and threads.
#include "support/platform/Platform.h"

#include <cerrno>
#include <cstdint>

namespace Velmora::Platform {

std::string_view LibrarySuffix() { return ".wasm"; }

std::string LibraryPath() { return "/orphia.wasm"; }

std::optional<std::string> MachineDataFolder() { return std::nullopt; }

std::optional<std::string> UserDataFolder() { return std::nullopt; }

std::optional<std::string> Environment(const std::string& /*name*/) { return std::nullopt; }

std::string LibraryFileName(std::string_view name) {
    return std::string(name) + std::string(LibrarySuffix());
}

std::string TuningLibraryPath() { return {}; }

std::string SystemSoundFileLibrary() { return "libsndfile"; }

bool FileExists(const std::string& /*path*/) { return false; }

bool IsRegularFile(const std::string& /*path*/) { return false; }

std::FILE* OpenFile(const std::string& /*path*/, const char* /*mode*/) {
    errno = ENOENT;
    return nullptr;
}

bool Seek(std::FILE* /*file*/, std::int64_t /*offset*/, int /*whence*/) { return false; }

std::int64_t Tell(std::FILE* /*file*/) { return -1; }

void SetThreadName(const std::string& /*name*/) {}

u32 CurrentThreadId() { return 1; }

u64 ResidentMemory() { return u64{__builtin_wasm_memory_size(0)} << 16U; }

u64 ThreadNanoseconds() { return 0; }

void BackMemory(void* /*memory*/, std::size_t /*bytes*/) {}

void ReleaseConsole() {}

} // namespace Velmora::Platform
