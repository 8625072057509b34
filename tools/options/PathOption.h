// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Paths.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace orphia::tools {

/// An option, or without hyphens an argument, that is a path.
inline CLI::Option* AddPath(CLI::App& command, const std::string& name, std::filesystem::path& path,
                            const std::string& description) {
    return command.add_option_function<std::string>(
        name, [&path](const std::string& text) { path = host::PathOf(text); }, description);
}

/// Any number of them.
inline CLI::Option* AddPaths(CLI::App& command, const std::string& name,
                             std::vector<std::filesystem::path>& paths, const std::string& description) {
    return command.add_option_function<std::vector<std::string>>(
        name,
        [&paths](const std::vector<std::string>& texts) {
            paths.clear();
            for (const std::string& text : texts) {
                paths.push_back(host::PathOf(text));
            }
        },
        description);
}

} // namespace orphia::tools
