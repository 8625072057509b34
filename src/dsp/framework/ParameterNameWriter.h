// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace Velmora::dsp {

/// A bounded text sink for parameter names. Every append copies what fits, keeps the buffer terminated and
/// counts the full length, so that a caller can tell a name that did not fit (needed > capacity).
struct ParameterNameWriter {
    u32 capacity = 0;
    char* buffer = nullptr;
    /// Characters written, without the terminator.
    u32 used = 0;
    /// Characters that the whole name takes, with the terminator.
    u32 needed = 1;

    ParameterNameWriter(char* target, u32 targetCapacity) : capacity(targetCapacity), buffer(target) {
        if (capacity > 0) {
            buffer[0] = '\0';
        }
    }

    void Append(std::string_view text) {
        needed += static_cast<u32>(text.size());
        if (capacity == 0) {
            return;
        }
        const u32 copied = std::min(static_cast<u32>(text.size()), capacity - 1 - used);
        text.copy(buffer + used, copied);
        used += copied;
        buffer[used] = '\0';
    }

    /// Appends a number in decimal.
    void Append(u32 number) {
        char digits[10];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        Append(std::string_view(digits, static_cast<std::size_t>(end - digits)));
    }
};

} // namespace Velmora::dsp
