// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/DynamicLibrary.h"

#include "support/platform/windows/WideText.h"
#include "support/platform/windows/WindowsApi.h"

#include <system_error>
#include <utility>

namespace Velmora::Platform {

DynamicLibrary::DynamicLibrary(const std::string& path) : handle(LoadLibraryW(ToWide(path).c_str())) {
    if (handle == nullptr) {
        error = std::system_category().message(static_cast<int>(GetLastError()));
    }
}

void DynamicLibrary::Close() {
    if (handle != nullptr) {
        FreeLibrary(static_cast<HMODULE>(std::exchange(handle, nullptr)));
    }
}

void* DynamicLibrary::FindSymbol(const char* name) const {
    return handle != nullptr ? reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name))
                             : nullptr;
}

} // namespace Velmora::Platform
