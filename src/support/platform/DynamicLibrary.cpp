// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/DynamicLibrary.h"

#include <utility>

namespace Velmora::Platform {

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept
    : handle(std::exchange(other.handle, nullptr)), error(std::move(other.error)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    if (this != &other) {
        Close();
        handle = std::exchange(other.handle, nullptr);
        error = std::move(other.error);
    }
    return *this;
}

DynamicLibrary::~DynamicLibrary() { Close(); }

} // namespace Velmora::Platform
