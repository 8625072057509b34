// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/Settings.h"

#include "host/common/Errors.h"
#include "host/common/Files.h"

#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace orphia::standalone {

namespace {

constexpr std::uintmax_t largestFile = 64U << 20U;

/// A variable that is empty or relative counts for nothing, as the standard has it.
std::filesystem::path Folder(const char* variable, const char* belowHome) {
    const char* const named = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): there is one thread yet
    const std::filesystem::path folder = named != nullptr ? named : "";
    if (folder.is_absolute()) {
        return folder / "orphia-vx";
    }
    const char* const home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe)
    return home != nullptr && home[0] != '\0' ? std::filesystem::path(home) / belowHome / "orphia-vx"
                                              : std::filesystem::path();
}

} // namespace

Settings::Settings() {
    const std::filesystem::path config = Folder("XDG_CONFIG_HOME", ".config");
    const std::filesystem::path state = Folder("XDG_STATE_HOME", ".local/state");
    if (!config.empty()) {
        devices = config / "devices.xml";
    }
    if (!state.empty()) {
        lastState = state / "last-state.json";
    }
}

std::optional<std::string> Settings::Read(const std::filesystem::path& file) {
    std::error_code error;
    if (file.empty() || !std::filesystem::is_regular_file(file, error)) {
        return std::nullopt;
    }
    try {
        return host::ReadWholeFile(file, largestFile, "settings");
    } catch (const host::FileError& problem) {
        std::fprintf(stderr, "orphia-vx: %s: %s\n", file.c_str(), problem.what());
        return std::nullopt;
    }
}

bool Settings::Write(const std::filesystem::path& file, const std::string& text) {
    if (file.empty()) {
        return false;
    }
    try {
        std::error_code error;
        std::filesystem::create_directories(file.parent_path(), error);
        host::PendingFile pending(file);
        pending.Write(text);
        pending.Commit();
        return true;
    } catch (const host::FileError& problem) {
        std::fprintf(stderr, "orphia-vx: %s\n", problem.what());
        return false;
    }
}

} // namespace orphia::standalone
