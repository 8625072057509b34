// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/midi/MidiFile.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace orphia::host {

/// Walks through bytes and never beyond them.
class ByteReader {
public:
    /// `offset` is where the bytes lie in their file, for messages.
    explicit ByteReader(std::span<const std::uint8_t> fileBytes, std::size_t offset = 0)
        : bytes(fileBytes), firstOffset(offset) {}

    std::size_t Left() const { return bytes.size() - position; }
    std::size_t Offset() const { return firstOffset + position; }

    /// These throw FileError when the bytes do not suffice.
    std::uint8_t Take();
    std::uint8_t Peek() const;
    std::span<const std::uint8_t> Take(std::size_t count);
    /// Big end first; at most four bytes.
    std::uint32_t TakeNumber(std::size_t byteCount);
    /// Seven bits a byte, at most four bytes; throws for a longer one.
    std::uint32_t TakeVariableLength();

    /// Throws FileError with the place and the reason.
    [[noreturn]] void Refuse(std::string_view reason) const;

private:
    std::span<const std::uint8_t> bytes;
    std::size_t firstOffset;
    std::size_t position = 0;
};

/// What the tracks of a file hold, in ticks from its start, one track after the other.
struct MidiTracks {
    struct Event {
        std::uint64_t tick;
        MidiMessage message;
    };
    struct TempoChange {
        std::uint64_t tick;
        std::uint32_t microsecondsPerQuarter;
    };

    std::vector<Event> events;
    std::vector<TempoChange> tempoChanges;
    std::uint64_t endTick = 0;

    /// Adds the contents of one track chunk. Throws FileError.
    void AddTrack(ByteReader reader);

private:
    void AddMessage(ByteReader& reader, std::uint64_t tick, std::uint8_t status);
    /// False at the end of the track.
    bool AddMeta(ByteReader& reader, std::uint64_t tick);
};

} // namespace orphia::host
