// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Numbers as texts with a decimal point, in every locale.
namespace Velmora::Platform {

struct ParsedNumber {
    double number = 0.0;
    /// Of the text that is the number, in bytes; 0 when there is none.
    std::size_t length = 0;
};

/// The number that a text begins with; no blanks and no "+" in front of it.
ParsedNumber ParseNumber(std::string_view text);

/// The shortest digits that give the same number, without an exponent.
std::string FixedDigits(float number);

/// The same where the standard library has no such conversions; the locale must be "C".
namespace Plain {
ParsedNumber ParseNumber(std::string_view text);
std::string FixedDigits(float number);
} // namespace Plain

} // namespace Velmora::Platform
