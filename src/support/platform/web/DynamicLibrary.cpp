// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/DynamicLibrary.h"

namespace Velmora::Platform {

DynamicLibrary::DynamicLibrary(const std::string& /*path*/) : error("there are no libraries to load here") {}

void DynamicLibrary::Close() {}

// cppcheck-suppress functionStatic ; elsewhere it needs the object
void* DynamicLibrary::FindSymbol(const char* /*name*/) const { return nullptr; }

} // namespace Velmora::Platform
