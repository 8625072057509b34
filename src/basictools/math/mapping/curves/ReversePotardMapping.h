// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// The straight knob turned backwards.
class ReversePotardMapping : public IPotardMapping {
public:
    float Map(float x) const override { return 1.0F - x; }
    float Unmap(float y) const override { return 1.0F - y; }
};

} // namespace Velmora::MappingTools
