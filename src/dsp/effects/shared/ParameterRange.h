// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"
#include "dsp/math/Within.h"

#include <cmath>
#include <span>
#include <vector>

namespace Velmora::dsp {

/// A line of the table by which an effect declares its parameters, and to which it holds what it reads.
struct ParameterRange {
    enum Mapping : i32 { Linear = 1, Exponential = 4, Switch = 18 };

    const char* name;
    Mapping mapping;
    float low;
    float high;
    float shape;
    float start;

    /// What is not a number becomes the start value.
    float Hold(float value) const { return std::isnan(value) ? start : Within(value, low, high); }
};

inline std::vector<ModuleParam> RecordsOf(std::span<const ParameterRange> ranges) {
    std::vector<ModuleParam> records;
    records.reserve(ranges.size());
    for (const ParameterRange& range : ranges) {
        records.push_back(
            range.mapping == ParameterRange::Switch
                ? ModuleParam::Stepped(range.name, 2, range.low, range.high - range.low)
                : ModuleParam::Mapped(range.name, range.mapping, range.low, range.high, range.shape));
        records.back().SetValue(range.start);
    }
    return records;
}

} // namespace Velmora::dsp
