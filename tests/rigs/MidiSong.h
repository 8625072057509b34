// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

/// Standard MIDI files for tests, written byte by byte.
namespace orphia::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// A number of so many bytes, big end first.
inline Bytes Number(std::uint32_t number, unsigned byteCount) {
    Bytes bytes;
    for (unsigned shift = 8 * byteCount; shift > 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>(number >> (shift - 8)));
    }
    return bytes;
}

/// The same with seven bits a byte.
inline Bytes Variable(std::uint32_t number) {
    Bytes bytes{static_cast<std::uint8_t>(number & 0x7FU)};
    while ((number >>= 7U) != 0) {
        bytes.insert(bytes.begin(), static_cast<std::uint8_t>(number | 0x80U));
    }
    return bytes;
}

inline Bytes Chunk(const char* name, const Bytes& data) {
    return Bytes(name, name + 4) + Number(static_cast<std::uint32_t>(data.size()), 4) + data;
}

/// Some bytes, `delta` ticks behind what is before them.
inline Bytes At(std::uint32_t delta, const Bytes& bytes) { return Variable(delta) + bytes; }

inline Bytes Tempo(std::uint32_t delta, std::uint32_t microseconds) {
    return At(delta, Bytes{0xFF, 0x51, 3} + Number(microseconds, 3));
}

inline Bytes End(std::uint32_t delta = 0) { return At(delta, {0xFF, 0x2F, 0}); }

inline Bytes Song(std::uint32_t format, std::uint32_t division, const std::vector<Bytes>& tracks) {
    Bytes file = Chunk("MThd", Number(format, 2) + Number(static_cast<std::uint32_t>(tracks.size()), 2) +
                                   Number(division, 2));
    for (const Bytes& track : tracks) {
        file = file + Chunk("MTrk", track);
    }
    return file;
}

inline std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

} // namespace orphia::test
