// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/KeepLoaded.h"

#include <dlfcn.h>

namespace Velmora::Platform {

void KeepLoaded(void (*function)()) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(function), &info) == 0 || info.dli_fname == nullptr) {
        return;
    }
    // The mark stays on the library when this handle is closed.
    void* handle = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
    if (handle != nullptr) {
        dlclose(handle);
    }
}

} // namespace Velmora::Platform
