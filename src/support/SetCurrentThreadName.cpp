// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/SetCurrentThreadName.h"

#include "support/platform/Platform.h"

namespace Velmora {

void SetCurrentThreadName(const std::string& name) { Platform::SetThreadName(name); }

} // namespace Velmora
