// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/standalone/Headless.h"

namespace orphia::standalone {

/// The instrument in a window of its own, until it is closed. Returns the exit code; throws UsageError and
/// FileError for a preset that cannot be had.
int RunWindow(const Job& job);

} // namespace orphia::standalone
