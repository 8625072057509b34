// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace orphia::tools {

/// Declares what somebody else parses, so that its manual page is like all others: a line for each option,
/// names<tab>value<tab>description, where an option without a value is a flag; behind an empty line the
/// footer. Throws FileError for a line that is none of these.
void DeclareAsTold(CLI::App& app, const std::string& told);

} // namespace orphia::tools
