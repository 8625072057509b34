// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace Velmora {

using u8 = std::uint8_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using i32 = std::int32_t;

/// The interface to hosts is laid out for such machines; elsewhere the engine is linked with its host.
inline constexpr bool has64BitPointers = sizeof(void*) == 8;

} // namespace Velmora
