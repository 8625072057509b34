// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// The straight knob: position and shaped value are the same.
class LinearPotardMapping : public IPotardMapping {
public:
    float Map(float x) const override { return x; }
    float Unmap(float y) const override { return y; }
    void MapBlock(float* /*values*/, u32 /*count*/) const override {}
};

} // namespace Velmora::MappingTools
