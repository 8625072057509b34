// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterTraits.h"

#include <algorithm>

namespace orphia::host {

namespace {

/// Compares from the back, so that "#" can take all the digits that there are.
bool EndsWith(std::string_view name, std::string_view ending) {
    while (!ending.empty()) {
        if (ending.back() == '#') {
            const auto last = name.find_last_not_of("0123456789");
            const std::size_t kept = last == std::string_view::npos ? 0 : last + 1;
            if (kept == name.size()) {
                return false;
            }
            name = name.substr(0, kept);
        } else if (!name.empty() && name.back() == ending.back()) {
            name.remove_suffix(1);
        } else {
            return false;
        }
        ending.remove_suffix(1);
    }
    return true;
}

} // namespace

ParameterTraits FindTraits(std::span<const TraitsRow> rows, std::string_view name,
                           const ParameterTraits& otherwise) {
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [name](const TraitsRow& r) { return EndsWith(name, r.ending); });
    return row != rows.end() ? row->traits : otherwise;
}

} // namespace orphia::host
