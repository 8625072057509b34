// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

/// Standard MIDI files for tests, written as text: "on60 +480 off60 end".
namespace orphia::test {

using Bytes = std::vector<std::uint8_t>;

inline void Append(Bytes& bytes, const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

/// "90 3C64" are three bytes.
inline Bytes Hex(std::string digits) {
    Bytes bytes;
    std::erase(digits, ' ');
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

/// Ticks, with seven bits a byte.
inline Bytes Variable(std::uint32_t number) {
    Bytes bytes{static_cast<std::uint8_t>(number & 0x7FU)};
    while ((number >>= 7U) != 0) {
        bytes.insert(bytes.begin(), static_cast<std::uint8_t>(number | 0x80U));
    }
    return bytes;
}

inline Bytes Chunk(const char* name, const Bytes& data) {
    Bytes chunk(name, name + 4);
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        chunk.push_back(static_cast<std::uint8_t>(data.size() >> shift));
    }
    Append(chunk, data);
    return chunk;
}

/// on60=100 off60 cc7=64 bend16383 rpn0=12, each of a channel as in on60@3; tempo500000, end, or bytes in
/// hex.
inline Bytes Event(const std::string& text) {
    if (std::islower(static_cast<unsigned char>(text[0])) == 0) {
        return Hex(text);
    }
    char name[16] = "";
    unsigned a = 0, b = 100;
    const auto at = text.find('@');
    std::sscanf(text.c_str(), "%15[a-z]%u=%u", name, &a, &b);
    const unsigned channel =
        at == std::string::npos ? 0 : static_cast<unsigned>(std::stoul(text.substr(at + 1)));
    const auto byte = [](unsigned number) { return static_cast<std::uint8_t>(number); };
    const std::map<std::string_view, Bytes> events = {
        {"on", {byte(0x90 | channel), byte(a), byte(b)}},
        {"off", {byte(0x80 | channel), byte(a), 0}},
        {"cc", {byte(0xB0 | channel), byte(a), byte(b)}},
        {"bend", {byte(0xE0 | channel), byte(a & 0x7FU), byte(a >> 7U)}},
        {"rpn", {byte(0xB0 | channel), 101, 0, 0, 100, byte(a), 0, 6, byte(b)}},
        {"tempo", {0xFF, 0x51, 3, byte(a >> 16U), byte(a >> 8U), byte(a)}},
        {"end", {0xFF, 0x2F, 0}}};
    return events.at(name);
}

/// Events, each +N ticks behind the one before; a word behind "=" is bytes as they are, without a time.
inline Bytes Track(const std::string& text) {
    Bytes track;
    std::uint32_t delta = 0;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (word[0] == '+') {
            delta = static_cast<std::uint32_t>(std::stoul(word.substr(1)));
        } else if (word[0] == '=') {
            Append(track, Hex(word.substr(1)));
        } else {
            Append(track, Variable(delta));
            Append(track, Event(word));
            delta = 0;
        }
    }
    return track;
}

inline Bytes Song(unsigned format, unsigned division, const std::vector<std::string>& tracks) {
    Bytes header;
    for (const std::size_t number : {std::size_t{format}, tracks.size(), std::size_t{division}}) {
        header.push_back(static_cast<std::uint8_t>(number >> 8U));
        header.push_back(static_cast<std::uint8_t>(number));
    }
    Bytes file = Chunk("MThd", header);
    for (const std::string& track : tracks) {
        Append(file, Chunk("MTrk", Track(track)));
    }
    return file;
}

inline std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

} // namespace orphia::test
