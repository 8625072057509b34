// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"
#include "support/platform/Types.h"

#include <vector>

namespace Velmora::dsp {

/// Parameter records with their change flags, and the one rule by which a write raises a flag. The flags
/// exist so that a block with no parameter change costs one test per module.
struct ParameterSet {
    std::vector<ModuleParam> parameters;
    std::vector<u8> parameterChanged;
    bool anyParameterChanged = false;

    explicit ParameterSet(std::vector<ModuleParam>&& records);

    /// A write marks its parameter when a mark is pending or the position really differs; otherwise it
    /// clears the mark. The value is stored as given. No id check.
    void SetNormalized(u32 id, float value);
    void SetValue(u32 id, float value);

    void MarkAll(bool changed);

private:
    void Mark(u32 id, bool differs);
};

} // namespace Velmora::dsp
