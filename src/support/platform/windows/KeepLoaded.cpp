// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/KeepLoaded.h"

#include "support/platform/windows/WindowsApi.h"

namespace Velmora::Platform {

void KeepLoaded(void (*function)()) {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(function), &module);
}

} // namespace Velmora::Platform
