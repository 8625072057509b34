// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace Velmora::Platform {

/// UTF-16 of a UTF-8 text; empty when the system cannot convert it.
std::wstring ToWide(std::string_view utf8);

/// UTF-16 of a text in the system's own code page; empty when the system cannot convert it.
std::wstring ToWideFromSystemCodePage(std::string_view text);

/// UTF-8 of a UTF-16 text. A failure is printed to the error stream and yields an empty text.
std::string ToUtf8(std::wstring_view wide);

} // namespace Velmora::Platform
