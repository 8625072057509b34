// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ParameterNameWriter.h"

#include <algorithm>
#include <charconv>

namespace Velmora::dsp {

ParameterNameWriter::ParameterNameWriter(char* target, u32 targetCapacity)
    : capacity(targetCapacity), buffer(target) {
    if (capacity > 0) {
        buffer[0] = '\0';
    }
}

void ParameterNameWriter::Append(std::string_view text) {
    needed += static_cast<u32>(text.size());
    if (capacity == 0) {
        return;
    }
    const u32 copied = std::min(static_cast<u32>(text.size()), capacity - 1 - used);
    text.copy(buffer + used, copied);
    used += copied;
    buffer[used] = '\0';
}

void ParameterNameWriter::Append(u32 number) {
    char digits[10];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    Append(std::string_view(digits, static_cast<std::size_t>(end - digits)));
}

} // namespace Velmora::dsp
