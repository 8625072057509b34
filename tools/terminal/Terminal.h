// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Process.h"

#include <exception>
#include <string>
#include <string_view>

namespace orphia::tools {

/// Whether someone watches, so that a line may be refreshed; signals that were noted instead of ending a run.
using Velmora::Platform::IsTerminal;
using Velmora::Platform::StopSignal;

/// As one line, without the middle of what is too long to be read.
std::string LineOf(std::string_view message);

/// A line on the error stream; the run goes on.
void Warn(std::string_view message);

/// The user, or a reader that went away, ended the run; there is nothing to tell.
class Stopped : public std::exception {
public:
    const char* what() const noexcept override { return "stopped"; }
};

} // namespace orphia::tools
