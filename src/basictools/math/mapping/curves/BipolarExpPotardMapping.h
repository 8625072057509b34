// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/ExponentialPotardMapping.h"

namespace Velmora::MappingTools {

/// Two exponentials back to back, antisymmetric around the centre of the knob.
class BipolarExpPotardMapping : public ExponentialPotardMapping {
public:
    using ExponentialPotardMapping::ExponentialPotardMapping;

    float Map(float x) const override;
    float Unmap(float y) const override;
    void MapBlock(float* values, u32 count) const override;
};

} // namespace Velmora::MappingTools
