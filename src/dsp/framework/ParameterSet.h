// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// Parameter records with their change flags, and the one rule by which a write raises a flag. The flags
/// exist so that a block with no parameter change costs one test per module.
struct ParameterSet {
    std::vector<ModuleParam> parameters;
    std::vector<u8> parameterChanged;
    bool anyParameterChanged = false;

    explicit ParameterSet(std::vector<ModuleParam>&& records)
        : parameters(std::move(records)), parameterChanged(parameters.size(), 0) {}

    /// A write marks its parameter when a mark is pending or the position really differs; otherwise it
    /// clears the mark. The value is stored as given. No id check.
    void SetNormalized(u32 id, float value) {
        Mark(id, parameters[id].PeekNormalized() != value);
        parameters[id].SetNormalized(value);
    }
    void SetValue(u32 id, float value) {
        Mark(id, parameters[id].PeekValue() != value);
        parameters[id].SetValue(value);
    }

    void MarkAll(bool changed) {
        std::fill(parameterChanged.begin(), parameterChanged.end(), static_cast<u8>(changed ? 1 : 0));
        anyParameterChanged = changed;
    }

private:
    void Mark(u32 id, bool differs) {
        const bool isMarked = parameterChanged[id] != 0 || differs;
        parameterChanged[id] = isMarked ? 1 : 0;
        anyParameterChanged = anyParameterChanged || isMarked;
    }
};

} // namespace Velmora::dsp
