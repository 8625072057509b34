// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ParameterSet.h"

#include <algorithm>
#include <utility>

namespace Velmora::dsp {

ParameterSet::ParameterSet(std::vector<ModuleParam>&& records)
    : parameters(std::move(records)), parameterChanged(parameters.size(), 0) {}

void ParameterSet::SetNormalized(u32 id, float value) {
    Mark(id, parameters[id].PeekNormalized() != value);
    parameters[id].SetNormalized(value);
}

void ParameterSet::SetValue(u32 id, float value) {
    Mark(id, parameters[id].PeekValue() != value);
    parameters[id].SetValue(value);
}

void ParameterSet::Mark(u32 id, bool differs) {
    if (parameterChanged[id] != 0 || differs) {
        parameterChanged[id] = 1;
        anyParameterChanged = true;
    } else {
        parameterChanged[id] = 0;
    }
}

void ParameterSet::MarkAll(bool changed) {
    std::fill(parameterChanged.begin(), parameterChanged.end(), static_cast<u8>(changed ? 1 : 0));
    anyParameterChanged = changed;
}

} // namespace Velmora::dsp
