// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace Velmora::Platform {

namespace {

constexpr std::size_t mostDigits = 128; // of a float, with all zeros in front or behind

} // namespace

ParsedNumber Plain::ParseNumber(std::string_view text) {
    // Not what else strtod reads: signs and blanks in front, hexadecimal digits, words.
    const std::size_t end = std::min(text.find_first_not_of("+-.0123456789eE"), text.size());
    if (end == 0 || text.front() == '+') {
        return {};
    }
    const std::string head(text.substr(0, end));
    char* behind = nullptr;
    const double number = std::strtod(head.c_str(), &behind);
    if (!std::isfinite(number)) {
        return {};
    }
    return {number, static_cast<std::size_t>(behind - head.c_str())};
}

std::string Plain::FixedDigits(float number) {
    std::array<char, 2 * mostDigits> text{};
    for (int places = 0; places < static_cast<int>(mostDigits); ++places) {
        std::snprintf(text.data(), text.size(), "%.*f", places, static_cast<double>(number));
        if (std::strtof(text.data(), nullptr) == number) {
            break;
        }
    }
    return text.data();
}

#ifdef __cpp_lib_to_chars

ParsedNumber ParseNumber(std::string_view text) {
    ParsedNumber parsed;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), parsed.number);
    if (result.ec == std::errc() && std::isfinite(parsed.number)) {
        parsed.length = static_cast<std::size_t>(result.ptr - text.data());
    }
    return parsed;
}

std::string FixedDigits(float number) {
    std::array<char, mostDigits> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return {text.data(), result.ptr};
}

#else

ParsedNumber ParseNumber(std::string_view text) { return Plain::ParseNumber(text); }
std::string FixedDigits(float number) { return Plain::FixedDigits(number); }

#endif

} // namespace Velmora::Platform
