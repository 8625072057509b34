// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Threads.h"

namespace Velmora::Platform {

#ifdef ORPHIA_WITHOUT_THREADS
bool HasThreads() { return false; }
#else
bool HasThreads() { return true; }
#endif

} // namespace Velmora::Platform
