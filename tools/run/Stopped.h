// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exception>

namespace orphia::tools {

/// The user, or a reader that went away, ended the run; there is nothing to tell.
class Stopped : public std::exception {
public:
    const char* what() const noexcept override { return "stopped"; }
};

} // namespace orphia::tools
