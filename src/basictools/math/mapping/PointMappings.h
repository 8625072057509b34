// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

#include <vector>

namespace Velmora::MappingTools {

/// The feel of an envelope time, by a fixed curve of 21 points. Both directions clamp to 0..1; a NaN
/// yields 0.
class EnveloppeTimeMapping : public IPotardMapping {
public:
    float Map(float x) const override;
    float Unmap(float y) const override;
};

/// The feel of a mixer time, by a fixed curve of 10 points. Map yields 1 from position 1 on; apart from
/// that, what lies outside 0..1, a NaN included, passes unchanged in both directions.
class MixerTimeMapping : public IPotardMapping {
public:
    float Map(float x) const override;
    float Unmap(float y) const override;
};

/// The scale of a level meter, for display: Unmap turns y, a level of -60 y dB, into the deflection counted
/// from the top. Nobody reads the other direction, so Map tells only whether the end is reached.
class VuMeterMapping : public IPotardMapping {
public:
    float Map(float x) const override { return x == 1.0F ? 1.0F : 0.0F; }
    float Unmap(float y) const override;
};

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
