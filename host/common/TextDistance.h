// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

namespace orphia::host {

/// How many letters must be inserted, removed or replaced to make one text of the other; upper and lower
/// case count as alike. Above `limit` any larger number may be returned.
std::size_t TextDistance(std::string_view a, std::string_view b, std::size_t limit);

} // namespace orphia::host
