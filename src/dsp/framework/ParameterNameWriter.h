// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

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

    ParameterNameWriter(char* target, u32 targetCapacity);

    void Append(std::string_view text);

    /// Appends a number in decimal.
    void Append(u32 number);
};

} // namespace Velmora::dsp
