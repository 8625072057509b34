// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"

#include <cstdint>

namespace orphia::host {

/// A message of a channel: its low four status bits are the channel, from 0. Messages of one data byte have
/// 0 for the second.
struct ORPHIA_PUBLIC MidiMessage {
    std::uint8_t status = 0;
    std::uint8_t data1 = 0;
    std::uint8_t data2 = 0;

    unsigned Channel() const { return status & 0x0FU; }
    /// The status without its channel: 0x80 to 0xE0.
    unsigned Kind() const { return status & 0xF0U; }

    bool operator==(const MidiMessage&) const = default;
};

} // namespace orphia::host
