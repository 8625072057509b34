// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/DynamicLibrary.h"

#include <dlfcn.h>

#include <utility>

namespace Velmora::Platform {

DynamicLibrary::DynamicLibrary(const std::string& path)
    : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) {
        const char* message = dlerror();
        error = message != nullptr ? message : "unknown error";
    }
}

void DynamicLibrary::Close() {
    if (handle != nullptr) {
        dlclose(std::exchange(handle, nullptr));
    }
}

void* DynamicLibrary::FindSymbol(const char* name) const {
    // A null handle would mean "search the whole process" here.
    return handle != nullptr ? dlsym(handle, name) : nullptr;
}

} // namespace Velmora::Platform
