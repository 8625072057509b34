// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/CSingleton.h"
#include "support/platform/Types.h"

#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace Velmora {

/// Receives the lines of the log beside the console or the file.
class ILogListener {
public:
    virtual ~ILogListener() = default;

    /// One formatted line, without line end and colour. Called on the thread that logs, under the log's
    /// mutex: it must not call the log. The text is valid during the call only.
    virtual void OnLogLine(std::string_view line) = 0;
};

/// Severity of a log line, in rising order.
enum class LogLevel : i32 { Debug, Info, Notice, Warning, Error, Except, Assert };

/// The log of the process. All operations may be called from any thread; they lock and allocate, so the
/// audio path stays away from them.
///
/// A line reads `|  time ms | Tthread |    category |   level | message`; every column is filled with
/// blanks on its left and grows when its text is longer. Lines go to the file when one is open, otherwise
/// to standard output when the console is enabled, and in both cases to the listener.
class CLog : public CSingleton<CLog> {
public:
    /// Starts the clock of the time column. Console, colour and file are off, and no line passes.
    /// Programs use `GetInstance`; a log of its own serves tests.
    CLog();
    ~CLog() override;

    /// Writes one line when the console or the file is enabled and `level` is at or above the threshold
    /// of `category`. A new category starts with the threshold `LogLevel::Warning`.
    void Log(std::string_view category, LogLevel level, std::string_view message);

    /// Lines on standard output; they appear there only while no file is open.
    void SetConsoleEnabled(bool enabled);
    /// Terminal colours for warnings and errors on the console.
    void SetColorEnabled(bool enabled);
    /// Tells that a console was made for this process, so that the end of the log releases it.
    void SetConsoleAllocated(bool allocated);
    /// Starts a new file at `path` (UTF-8), replacing what is there; an empty path closes the file.
    /// Returns whether a file is open; after a failure the log is without a file.
    bool SetFile(const std::string& path);
    /// The object that also gets each line, or null. Once this returns, the former one is not called again.
    void SetListener(ILogListener* newListener);
    /// Lowest level that passes in `category`.
    void SetThreshold(std::string_view category, LogLevel threshold);
    /// Width of the category column in characters, initially 11.
    void SetCategoryWidth(u8 width);

private:
    struct Category {
        LogLevel threshold = LogLevel::Warning;
    };

    Category& FindCategory(std::string_view name);
    bool Passes(std::string_view category, LogLevel level);
    std::string FormatLine(std::string_view category, LogLevel level, std::string_view message) const;
    void WriteToConsole(LogLevel level, const std::string& line) const;

    u32 consoleAllocated = 0;
    ILogListener* listener = nullptr;
    u8 categoryWidth = 11;
    std::map<std::string, Category, std::less<>> categories;
    bool consoleEnabled = false;
    bool colorEnabled = false;
    bool fileEnabled = false;
    std::int64_t startTime; // units of 100 ns
    std::mutex mutex;       // guards all fields but startTime, which never changes
    std::ofstream file;
};

} // namespace Velmora
