// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

namespace orphia::tools {

/// Whether someone watches the stream, so that a line may be refreshed.
bool IsTerminal(std::FILE* stream);

/// As one line, without the middle of what is too long to be read.
std::string LineOf(std::string_view message);

/// A line on the error stream; the run goes on.
void Warn(std::string_view message);

/// From now on an interrupt, a request to terminate and a closed pipe no longer end the program at once;
/// they are only noted, so that no half file is left behind. A read that waits ends with them. Signals that
/// are ignored stay so.
void WatchStopSignals();

/// The number of the signal that was noted, or 0.
int StopSignal();

/// The user, or a reader that went away, ended the run; there is nothing to tell.
class Stopped : public std::exception {
public:
    const char* what() const noexcept override { return "stopped"; }
};

} // namespace orphia::tools
