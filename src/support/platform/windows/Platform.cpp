// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Platform.h"

#include "support/platform/windows/WideText.h"
#include "support/platform/windows/WindowsApi.h"

#include <knownfolders.h>
#include <objbase.h>
#include <psapi.h>
#include <shlobj.h>
#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace Velmora::Platform {

namespace {

constexpr DWORD pathCapacity = 260;

using SetDescription = HRESULT WINAPI(HANDLE thread, PCWSTR description);

// Threads have descriptions only since a later release of the system, so the call is not linked.
SetDescription* FindSetDescription() {
    const HMODULE kernel = GetModuleHandleA("Kernel32.dll");
    if (kernel == nullptr) {
        return nullptr;
    }
    void* address = reinterpret_cast<void*>(GetProcAddress(kernel, "SetThreadDescription"));
    return reinterpret_cast<SetDescription*>(address);
}

// The path of one of the system's own folders, empty when it does not tell.
std::string FindKnownFolder(const KNOWNFOLDERID& which) {
    PWSTR folder = nullptr;
    std::string path;
    if (SUCCEEDED(SHGetKnownFolderPath(which, 0, nullptr, &folder))) {
        path = ToUtf8(folder);
    }
    CoTaskMemFree(folder); // to be freed after a failure, too
    return path;
}

std::string WideLibraryPath(HMODULE module) {
    std::array<wchar_t, pathCapacity> path{};
    const DWORD length = GetModuleFileNameW(module, path.data(), pathCapacity);
    return length < pathCapacity ? ToUtf8({path.data(), length}) : std::string();
}

} // namespace

std::string_view LibrarySuffix() { return ".dll"; }

std::string LibraryPath() {
    HMODULE module = nullptr;
    const DWORD how = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (GetModuleHandleExA(how, reinterpret_cast<LPCSTR>(&LibraryPath), &module) == 0) {
        std::fprintf(stderr, "GetModuleHandle returned %d\n", static_cast<int>(GetLastError()));
        return {};
    }
    std::array<char, pathCapacity> path{};
    const DWORD length = GetModuleFileNameA(module, path.data(), pathCapacity);
    // A full buffer means a path that was cut, and a cut path names some other place.
    if (length == 0 || length >= pathCapacity) {
        std::fprintf(stderr, "GetModuleFileNameA returned %d\n", static_cast<int>(GetLastError()));
        return {};
    }
    // For a letter that the code page lacks there is another one, which names some other place, too.
    const std::string wide = WideLibraryPath(module);
    return wide.empty() ? ToUtf8(ToWideFromSystemCodePage({path.data(), length})) : wide;
}

std::optional<std::string> MachineDataFolder() {
    const std::string path = FindKnownFolder(FOLDERID_ProgramData);
    return path.empty() ? std::nullopt : std::optional(path);
}

std::optional<std::string> UserDataFolder() {
    const std::string path = FindKnownFolder(FOLDERID_RoamingAppData);
    return path.empty() ? std::nullopt : std::optional(path);
}

std::optional<std::string> Environment(const std::string& name) {
    const std::wstring wideName = ToWide(name);
    std::wstring value(GetEnvironmentVariableW(wideName.c_str(), nullptr, 0), L'\0');
    if (value.empty()) {
        return std::nullopt;
    }
    // Without the terminator, which the length in front counts and this one does not.
    value.resize(GetEnvironmentVariableW(wideName.c_str(), value.data(), static_cast<DWORD>(value.size())));
    return value.empty() ? std::nullopt : std::optional(ToUtf8(value));
}

std::string LibraryFileName(std::string_view name) {
    return std::string(name) + std::string(LibrarySuffix());
}

std::string TuningLibraryPath() {
    const std::string folder = FindKnownFolder(FOLDERID_ProgramFilesCommon);
    return folder.empty() ? folder : folder + "\\MTS-ESP\\LIBMTS.dll";
}

/// Beside this library, where the system's own search does not look when a foreign program has loaded it.
std::string SystemSoundFileLibrary() {
    const std::string name = "libsndfile-2.dll";
    const std::string here = LibraryPath();
    const std::string beside = here.substr(0, here.find_last_of("\\/") + 1) + name;
    return FileExists(beside) ? beside : name;
}

bool FileExists(const std::string& path) {
    struct _stat64 status {};
    return _wstat64(ToWide(path).c_str(), &status) == 0;
}

bool IsRegularFile(const std::string& path) {
    struct _stat64 status {};
    return _wstat64(ToWide(path).c_str(), &status) == 0 && (status.st_mode & _S_IFMT) == _S_IFREG;
}

std::FILE* OpenFile(const std::string& path, const char* mode) {
    return _wfopen(ToWide(path).c_str(), ToWide(mode).c_str());
}

bool Seek(std::FILE* file, std::int64_t offset, int whence) { return _fseeki64(file, offset, whence) == 0; }

std::int64_t Tell(std::FILE* file) { return _ftelli64(file); }

void SetThreadName(const std::string& name) {
    static SetDescription* const setDescription = FindSetDescription();
    if (setDescription != nullptr) {
        setDescription(GetCurrentThread(), ToWide(name).c_str());
    }
}

u32 CurrentThreadId() { return static_cast<u32>(GetCurrentThreadId()); }

u64 ResidentMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    return K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) != 0
               ? counters.WorkingSetSize
               : 0;
}

u64 ThreadNanoseconds() {
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    if (GetThreadTimes(GetCurrentThread(), &created, &ended, &kernel, &user) == 0) {
        return 0;
    }
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<u64>(time.dwHighDateTime) << 32U) + time.dwLowDateTime;
    };
    return (ticks(kernel) + ticks(user)) * 100U;
}

void BackMemory(void* /*memory*/, std::size_t /*bytes*/) {}

void ReleaseConsole() { FreeConsole(); }

} // namespace Velmora::Platform
