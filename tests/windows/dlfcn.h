// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/windows/WindowsApi.h"

/// What the tests' own host asks of a system's loader, by that of Windows.
constexpr int RTLD_NOW = 0;
constexpr int RTLD_LOCAL = 0;

inline void* dlopen(const char* path, int /*mode*/) { return LoadLibraryA(path); }
inline int dlclose(void* library) { return FreeLibrary(static_cast<HMODULE>(library)) != 0 ? 0 : -1; }
inline void* dlsym(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}
inline const char* dlerror() { return "LoadLibrary failed"; }
