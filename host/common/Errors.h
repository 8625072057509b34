// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace orphia::host {

/// What the user asked for makes no sense: an unknown parameter, a value out of range, an unknown format.
/// The message is one line, fit to be shown.
class ORPHIA_PUBLIC UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file cannot be read or written, or holds something else than it should. The message is one line and
/// names the file.
class ORPHIA_PUBLIC FileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The engine's library cannot be found or loaded, or is another one than it should. The message is one line
/// and names the file.
class ORPHIA_PUBLIC EngineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// As much of what a user gave as a message wants to repeat.
inline std::string Excerpt(std::string_view text) {
    constexpr std::size_t most = 60;
    return text.size() > most ? std::string(text.substr(0, most)) + "..." : std::string(text);
}

} // namespace orphia::host
