// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

/// What differs between systems. One implementation per system, in the folder of its name; all text is
/// UTF-8. Nothing here throws but for lack of memory, and nothing is for the audio path.
namespace Velmora::Platform {

/// File ending of a loadable library, with its dot.
std::string_view LibrarySuffix();

/// Full path of the library (or program) that holds this code. When the system refuses it, prints why to
/// the error stream and returns an empty text.
std::string LibraryPath();

/// The folder for data that all users of the machine share, or nothing when the system knows none.
std::optional<std::string> MachineDataFolder();

/// The folder for data of the user who runs this, which may not exist yet; nothing when the system knows
/// none.
std::optional<std::string> UserDataFolder();

/// A variable of the process's environment; nothing when it is not set or empty.
std::optional<std::string> Environment(const std::string& name);

/// The name of a file that holds a loadable library, from the library's own, for instance "engine".
std::string LibraryFileName(std::string_view name);

/// Where the machine's shared tuning library lies once the user has installed it; empty when the system knows
/// no such place.
std::string TuningLibraryPath();

/// What the system's loader knows libsndfile by: with its own search, or where it lies beside this library.
std::string SystemSoundFileLibrary();

/// Whether a file, or anything else, exists at `path`.
bool FileExists(const std::string& path);

/// Whether `path` is a file or a link to one, and no folder, pipe, socket or device.
bool IsRegularFile(const std::string& path);

/// As fopen: null, with errno, when it cannot be opened.
std::FILE* OpenFile(const std::string& path, const char* mode);

/// As fseek and ftell, for files of any length.
bool Seek(std::FILE* file, std::int64_t offset, int whence);
std::int64_t Tell(std::FILE* file);

/// Names the calling thread; does nothing where that is not possible.
void SetThreadName(const std::string& name);

/// The system's number of the calling thread, as debuggers show it.
u32 CurrentThreadId();

/// Bytes of memory that this process really occupies; 0 when the system does not tell.
u64 ResidentMemory();

/// For how long the calling thread has run on a processor, in nanoseconds; 0 when the system does not tell.
u64 ThreadNanoseconds();

/// Lets the system back all of a fresh piece of memory at once, which is quicker than page by page as each is
/// touched. A hint.
void BackMemory(void* memory, std::size_t bytes);

/// Gives back a console that was allocated for this process; does nothing where consoles are not owned.
void ReleaseConsole();

} // namespace Velmora::Platform
