// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Platform.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace Velmora::Platform {

namespace {

constexpr std::size_t maxThreadNameBytes = 15; // what the kernel keeps of a thread's name
constexpr std::string_view defaultDataFolder = "/usr/local/share/";
constexpr std::string_view defaultDataFolders = "/usr/local/share/:/usr/share/";
#ifdef __APPLE__
constexpr std::string_view userDataFolder = "/Library/Application Support";
constexpr std::string_view tuningLibrary = "/Library/Application Support/MTS-ESP/libMTS.dylib";
constexpr std::string_view soundFileLibrary = "libsndfile.1.dylib";
#else
constexpr std::string_view userDataFolder = "/.local/share";
constexpr std::string_view tuningLibrary = "/usr/local/lib/libMTS.so";
constexpr std::string_view soundFileLibrary = "libsndfile.so.1";
#endif

// The longest head of `text` within `limit` bytes that does not end inside a character.
std::string_view CutAtCharacter(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return text;
    }
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0U) == 0x80U) {
        --limit;
    }
    return text.substr(0, limit);
}

std::filesystem::path MakeAbsolute(const std::string& name) {
    std::error_code failure;
    auto path = std::filesystem::absolute(name, failure);
    if (!failure && name.find('/') != std::string::npos && FileExists(path.string())) {
        return path;
    }
    // A program that was found through the search path knows itself by its bare name only, which may be that
    // of something else in the present folder.
    return std::filesystem::read_symlink("/proc/self/exe", failure);
}

} // namespace

std::string_view LibrarySuffix() { return ".so"; }

std::string LibraryPath() {
    Dl_info info{};
    const bool found = dladdr(reinterpret_cast<const void*>(&LibraryPath), &info) != 0;
    std::string path;
    if (found && info.dli_fname != nullptr) {
        path = MakeAbsolute(info.dli_fname).lexically_normal().string();
    }
    if (path.empty()) {
        std::fputs("dladdr found no path of this library\n", stderr);
    }
    return path;
}

std::optional<std::string> MachineDataFolder() {
    const char* setting = std::getenv("XDG_DATA_DIRS");
    std::string_view rest = setting != nullptr && *setting != '\0' ? setting : defaultDataFolders;
    while (!rest.empty()) {
        const auto end = rest.find(':');
        std::string folder(rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (folder.empty() || folder.front() != '/') {
            continue; // a relative entry is no machine-wide place
        }
        // The end separator marks the last part as a folder, so that a cut behind it keeps it.
        if (folder.back() != '/') {
            folder += '/';
        }
        if (FileExists(folder)) {
            return folder;
        }
    }
    return std::string(defaultDataFolder);
}

std::optional<std::string> UserDataFolder() {
    if (auto folder = Environment("XDG_DATA_HOME"); folder && folder->front() == '/') {
        return folder;
    }
    const auto home = Environment("HOME");
    return home ? std::optional(*home + std::string(userDataFolder)) : std::nullopt;
}

std::optional<std::string> Environment(const std::string& name) {
    const char* const value = std::getenv(name.c_str());
    return value != nullptr && *value != '\0' ? std::optional<std::string>(value) : std::nullopt;
}

std::string LibraryFileName(std::string_view name) {
    return "lib" + std::string(name) + std::string(LibrarySuffix());
}

std::string TuningLibraryPath() { return std::string(tuningLibrary); }

std::string SystemSoundFileLibrary() { return std::string(soundFileLibrary); }

bool FileExists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

bool IsRegularFile(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::FILE* OpenFile(const std::string& path, const char* mode) { return std::fopen(path.c_str(), mode); }

bool Seek(std::FILE* file, std::int64_t offset, int whence) { return fseeko(file, offset, whence) == 0; }

std::int64_t Tell(std::FILE* file) { return ftello(file); }

void SetThreadName(const std::string& name) {
    const std::string shortName(CutAtCharacter(name, maxThreadNameBytes));
    pthread_setname_np(pthread_self(), shortName.c_str());
}

u32 CurrentThreadId() { return static_cast<u32>(gettid()); }

u64 ResidentMemory() {
    u64 totalPages = 0;
    u64 residentPages = 0;
    std::ifstream("/proc/self/statm") >> totalPages >> residentPages;
    return residentPages * static_cast<u64>(sysconf(_SC_PAGESIZE));
}

u64 ThreadNanoseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<u64>(time.tv_sec) * 1000000000U + static_cast<u64>(time.tv_nsec);
}

void BackMemory([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) {
#ifdef MADV_POPULATE_WRITE
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto start = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t first = (start + page - 1) / page * page;
    const std::uintptr_t end = (start + bytes) / page * page;
    if (first < end) {
        // Where it fails the pages come as they are touched.
        (void)madvise(static_cast<char*>(memory) + (first - start), end - first, MADV_POPULATE_WRITE);
    }
#endif
}

void ReleaseConsole() {}

} // namespace Velmora::Platform
