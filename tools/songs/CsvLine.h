// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orphia::tools {

/// The fields of a line of comma-separated values, without blanks around them. A field in quotes may hold
/// commas, and a quote as two of them. Throws FileError, with the reason only.
std::vector<std::string> SplitCsvLine(std::string_view line);

} // namespace orphia::tools
