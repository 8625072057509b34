// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/tables/TablePotardMapping.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace Velmora::MappingTools {

TablePotardMapping::TablePotardMapping(std::vector<float> values) : table(std::move(values)) {
    if (table.empty()) {
        throw std::invalid_argument("TablePotardMapping: empty table.");
    }
    for (std::size_t i = 1; i < table.size(); ++i) {
        if (!(table[i] > table[i - 1])) {
            throw std::invalid_argument("TablePotardMapping: table is not striclty increasing.");
        }
    }
    // One more entry, so that interpolation at the very end may read past the last value.
    table.push_back(table.back());
}

float TablePotardMapping::Map(float x) const {
    const std::size_t last = table.size() - 2;
    const float f = x * static_cast<float>(last);
    if (f >= static_cast<float>(last)) {
        return table[last];
    }
    const std::size_t i = f > 0.0F ? static_cast<std::size_t>(f) : 0;
    return table[i] + (f - static_cast<float>(i)) * (table[i + 1] - table[i]);
}

float TablePotardMapping::Unmap(float y) const {
    // A value above the last one finds the appended entry, whose step of 0 makes the result infinite.
    const auto found = std::lower_bound(table.begin(), table.end() - 1, y);
    const auto i = static_cast<std::size_t>(found - table.begin());
    if (i == 0) {
        return 0.0F;
    }
    const float d = table[i] - table[i - 1];
    const auto segments = static_cast<float>(table.size() - 2);
    return (static_cast<float>(i - 1) * d + y - table[i - 1]) / (segments * d);
}

} // namespace Velmora::MappingTools
