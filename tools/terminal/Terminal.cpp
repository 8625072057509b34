// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/terminal/Terminal.h"

#include <fmt/format.h>

#include <algorithm>

namespace orphia::tools {

std::string LineOf(std::string_view message) {
    constexpr std::size_t most = 480;
    constexpr std::size_t ending = 200;
    std::string line(message);
    if (line.size() > most) {
        // Not within a character of several bytes.
        const auto start = [&line](std::size_t at) {
            while (at > 0 && (static_cast<unsigned char>(line[at]) & 0xC0U) == 0x80U) {
                --at;
            }
            return at;
        };
        const std::size_t from = start(most - ending);
        line.replace(from, start(line.size() - ending) - from, "...");
    }
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
    return line;
}

void Warn(std::string_view message) { fmt::print(stderr, "orphia: warning: {}\n", LineOf(message)); }

} // namespace orphia::tools
