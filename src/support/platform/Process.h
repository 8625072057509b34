// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdio>
#include <string>
#include <vector>

/// What programs ask of a system, and libraries never do.
namespace Velmora::Platform {

/// What the program was called with, in UTF-8, its own name first.
std::vector<std::string> Arguments(int argc, const char* const* argv);

/// From now on an interrupt, a request to terminate and a closed pipe no longer end the program at once; they
/// are only noted. A read that waits ends with them. Signals that are ignored stay so. A write beyond the
/// limit of the size of files fails.
void WatchStopSignals();

/// The number of the signal that was noted, or 0.
int StopSignal();

/// Whether someone watches the stream.
bool IsTerminal(std::FILE* stream);

/// Another program goes on in place of this one, found where the system looks for programs; its name comes
/// first. Returns only when that cannot be.
void ReplaceByProgram(std::vector<std::string> command);

} // namespace Velmora::Platform
