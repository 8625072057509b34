// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/CLog.h"

#include "support/platform/Platform.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <ratio>

namespace Velmora {

namespace {

constexpr std::size_t timeWidth = 9;
constexpr std::size_t threadWidth = 5;
constexpr std::size_t levelWidth = 7;
constexpr std::int64_t ticksPerMillisecond = 10000;

constexpr std::array<std::string_view, 7> levelNames = {"debug", "info",   "notice", "warning",
                                                        "error", "except", "assert"};

// A steady clock: a correction of the system time must not bend the time column.
std::int64_t Ticks() {
    using Tick = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    const auto sinceEpoch = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<Tick>(sinceEpoch).count();
}

std::string_view LevelName(LogLevel level) {
    const auto index = static_cast<std::size_t>(level);
    return index < levelNames.size() ? levelNames[index] : std::string_view("?");
}

void AppendField(std::string& line, std::string_view text, std::size_t width) {
    if (text.size() < width) {
        line.append(width - text.size(), ' ');
    }
    line.append(text);
}

std::string_view ColorOf(LogLevel level) {
    switch (level) {
    case LogLevel::Warning:
        return "\x1b[1;33m";
    case LogLevel::Error:
        return "\x1b[1;31m";
    default:
        return {};
    }
}

} // namespace

CLog::CLog() : startTime(Ticks()) {}

CLog::~CLog() {
    if (consoleAllocated != 0) {
        Platform::ReleaseConsole();
    }
}

void CLog::Log(std::string_view category, LogLevel level, std::string_view message) {
    const std::lock_guard lock(mutex);
    if (!Passes(category, level)) {
        return;
    }
    const std::string line = FormatLine(category, level, message);
    if (file.is_open()) {
        file << line << '\n' << std::flush; // flushed: the last lines before a crash matter most
    } else if (consoleEnabled) {
        WriteToConsole(level, line);
    }
    if (listener != nullptr) {
        listener->OnLogLine(line);
    }
}

void CLog::SetConsoleEnabled(bool enabled) {
    const std::lock_guard lock(mutex);
    consoleEnabled = enabled;
}

void CLog::SetColorEnabled(bool enabled) {
    const std::lock_guard lock(mutex);
    colorEnabled = enabled;
}

void CLog::SetConsoleAllocated(bool allocated) {
    const std::lock_guard lock(mutex);
    consoleAllocated = allocated ? 1 : 0;
}

bool CLog::SetFile(const std::string& path) {
    const std::lock_guard lock(mutex);
    file.close();
    file.clear();
    if (!path.empty()) {
        // By way of char8_t the path is taken as UTF-8 on every system.
        file.open(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::trunc);
    }
    fileEnabled = file.is_open();
    return fileEnabled;
}

void CLog::SetListener(ILogListener* newListener) {
    const std::lock_guard lock(mutex);
    listener = newListener;
}

void CLog::SetThreshold(std::string_view category, LogLevel threshold) {
    const std::lock_guard lock(mutex);
    FindCategory(category).threshold = threshold;
}

void CLog::SetCategoryWidth(u8 width) {
    const std::lock_guard lock(mutex);
    categoryWidth = width;
}

CLog::Category& CLog::FindCategory(std::string_view name) {
    const auto found = categories.find(name);
    return found != categories.end() ? found->second : categories[std::string(name)];
}

bool CLog::Passes(std::string_view category, LogLevel level) {
    if (!consoleEnabled && !fileEnabled) {
        return false;
    }
    return level >= FindCategory(category).threshold;
}

std::string CLog::FormatLine(std::string_view category, LogLevel level, std::string_view message) const {
    std::string line = "| ";
    AppendField(line, std::to_string((Ticks() - startTime) / ticksPerMillisecond), timeWidth);
    line += " | T";
    AppendField(line, std::to_string(Platform::CurrentThreadId()), threadWidth);
    line += " | ";
    AppendField(line, category, categoryWidth);
    line += " | ";
    AppendField(line, LevelName(level), levelWidth);
    line += " | ";
    line += message;
    return line;
}

void CLog::WriteToConsole(LogLevel level, const std::string& line) const {
    const std::string_view color = colorEnabled ? ColorOf(level) : std::string_view();
    std::string text(color);
    text += line;
    text += color.empty() ? "\n" : "\x1b[0m\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

} // namespace Velmora
