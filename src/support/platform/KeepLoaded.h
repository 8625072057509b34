// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace Velmora::Platform {

/// Keeps the library that holds `function` in the process until its end, whoever unloads it. For libraries
/// that never give back what they allocate for the process as a whole.
void KeepLoaded(void (*function)());

} // namespace Velmora::Platform
