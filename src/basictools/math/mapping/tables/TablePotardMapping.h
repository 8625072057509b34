// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

#include <vector>

namespace Velmora::MappingTools {

/// A curve through given values at equal spacing over 0..1, in linear interpolation. Yields the values
/// themselves. Built once and shared by address; ModuleParam keeps no copy.
class TablePotardMapping : public IPotardMappingCustom {
public:
    /// The values must rise strictly. Throws std::invalid_argument for an empty or not rising vector.
    explicit TablePotardMapping(std::vector<float> values);

    /// Beyond position 1 the last value; below 0 the first segment is prolonged. A NaN stays one.
    float Map(float x) const override;

    /// 0 up to the first value (and for a NaN), infinity above the last.
    float Unmap(float y) const override;
    bool IsAbsolute() const override { return true; }

    /// The first and the last value.
    float GetMin() const override { return table.front(); }
    float GetMax() const override { return table.back(); }

private:
    std::vector<float> table;
};

} // namespace Velmora::MappingTools
