// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>

namespace CLI {
class App;
}

namespace orphia::tools {

/// The manual page of a program or of one of its commands, in roff, from what its --help says. Of a footer, a
/// line that ends in ":" is the title of a section, and indented lines are kept as they are; `date` is of the
/// form 2026-11-26.
std::string ManualPage(const CLI::App& app, const std::string& version, const std::string& date);

/// Writes the pages of a program and of all its commands into a folder, which is made: orphia.1 and
/// orphia-COMMAND.1. Throws FileError.
void WriteManualPages(const CLI::App& program, const std::filesystem::path& folder,
                      const std::string& version, const std::string& date);

} // namespace orphia::tools
