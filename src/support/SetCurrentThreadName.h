// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace Velmora {

/// Names the calling thread (UTF-8) for debuggers and profilers. Where the system has no names for
/// threads, or keeps shorter ones, the name is left out or cut; nothing is reported.
void SetCurrentThreadName(const std::string& name);

} // namespace Velmora
