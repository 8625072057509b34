// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exception>
#include <string>

namespace Velmora {

/// The exception of set-up code: one text made of a message and the source position it was raised at.
/// The audio path never raises it.
class CException : public std::exception {
public:
    /// Builds the text `message(file:line)`, with no blank between the pieces. Logs nothing.
    CException(const std::string& message, const char* file, int line)
        : text(message + "(" + file + ":" + std::to_string(line) + ")") {}

    /// The text built at construction; valid as long as this object.
    const char* what() const noexcept override { return text.c_str(); }

private:
    std::string text;
};

} // namespace Velmora
