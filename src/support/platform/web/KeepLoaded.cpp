// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/KeepLoaded.h"

namespace Velmora::Platform {

void KeepLoaded(void (* /*function*/)()) {}

} // namespace Velmora::Platform
