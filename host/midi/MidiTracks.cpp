// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/midi/MidiTracks.h"

#include "host/common/Errors.h"

#include <fmt/format.h>

#include <algorithm>

namespace orphia::host {

namespace {

constexpr std::uint8_t statusBit = 0x80;
constexpr std::uint8_t exclusiveStart = 0xF0;
constexpr std::uint8_t exclusiveRest = 0xF7;
constexpr std::uint8_t metaStatus = 0xFF;
constexpr std::uint8_t endOfTrack = 0x2F;
constexpr std::uint8_t setTempo = 0x51;

/// Program changes and channel pressure have one data byte.
bool HasSecondByte(std::uint8_t status) { return (status & 0xE0U) != 0xC0U; }

std::uint8_t TakeDataByte(ByteReader& reader) {
    if ((reader.Peek() & statusBit) != 0) {
        reader.Refuse("a message is cut short by another one");
    }
    return reader.Take();
}

} // namespace

void ByteReader::Refuse(std::string_view reason) const {
    throw FileError(fmt::format("byte {}: {}", Offset(), reason));
}

std::uint8_t ByteReader::Peek() const {
    if (Left() == 0) {
        Refuse("ends too early");
    }
    return bytes[position];
}

std::uint8_t ByteReader::Take() {
    const std::uint8_t byte = Peek();
    ++position;
    return byte;
}

std::span<const std::uint8_t> ByteReader::Take(std::size_t count) {
    if (count > Left()) {
        Refuse(fmt::format("{} bytes wanted, {} left", count, Left()));
    }
    position += count;
    return bytes.subspan(position - count, count);
}

std::uint32_t ByteReader::TakeNumber(std::size_t byteCount) {
    std::uint32_t number = 0;
    for (const std::uint8_t byte : Take(byteCount)) {
        number = number << 8U | byte;
    }
    return number;
}

std::uint32_t ByteReader::TakeVariableLength() {
    constexpr int maxBytes = 4;
    std::uint32_t number = 0;
    for (int i = 0; i < maxBytes; ++i) {
        const std::uint8_t byte = Take();
        number = number << 7U | (byte & 0x7FU);
        if ((byte & statusBit) == 0) {
            return number;
        }
    }
    Refuse("a number of more than four bytes");
}

void MidiTracks::AddTrack(ByteReader reader) {
    std::uint64_t tick = 0;
    std::uint8_t runningStatus = 0;
    bool open = true;
    // A track may end without its end mark, but not after a bare time.
    while (open && reader.Left() > 0) {
        tick += reader.TakeVariableLength();
        std::uint8_t status = reader.Peek();
        if ((status & statusBit) == 0) {
            if (runningStatus == 0) {
                reader.Refuse("a data byte where a message should begin");
            }
            status = runningStatus;
        } else {
            reader.Take();
        }
        if (status < exclusiveStart) {
            runningStatus = status;
            AddMessage(reader, tick, status);
        } else if (status == metaStatus) {
            open = AddMeta(reader, tick);
        } else if (status == exclusiveStart || status == exclusiveRest) {
            reader.Take(reader.TakeVariableLength());
        } else {
            reader.Refuse(fmt::format("status {:02X} does not belong in a file", status));
        }
    }
    endTick = std::max(endTick, tick);
}

void MidiTracks::AddMessage(ByteReader& reader, std::uint64_t tick, std::uint8_t status) {
    if (events.size() >= MidiFile::maxEvents) {
        reader.Refuse(fmt::format("more than {} events", MidiFile::maxEvents));
    }
    const std::uint8_t data1 = TakeDataByte(reader);
    const std::uint8_t data2 = HasSecondByte(status) ? TakeDataByte(reader) : std::uint8_t{0};
    events.push_back({tick, {status, data1, data2}});
}

bool MidiTracks::AddMeta(ByteReader& reader, std::uint64_t tick) {
    const std::uint8_t type = reader.Take();
    ByteReader data(reader.Take(reader.TakeVariableLength()));
    if (type == setTempo) {
        if (data.Left() != 3) {
            reader.Refuse("a tempo that is not of three bytes");
        }
        const std::uint32_t microseconds = data.TakeNumber(3);
        if (microseconds == 0) {
            reader.Refuse("a tempo without end");
        }
        tempoChanges.push_back({tick, microseconds});
    }
    return type != endOfTrack;
}

} // namespace orphia::host
