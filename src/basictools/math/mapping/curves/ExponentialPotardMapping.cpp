// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/ExponentialPotardMapping.h"

#include "basictools/math/mapping/curves/CephesExpLog.h"

#include <cmath>

namespace Velmora::MappingTools {

ExponentialPotardMapping::ExponentialPotardMapping(float curve)
    : ExponentialPotardMapping(curve, 1.0F / (std::exp(curve) - 1.0F)) {}

ExponentialPotardMapping::ExponentialPotardMapping(float curve, float outputScale)
    : shape(curve), scale(outputScale) {}

float ExponentialPotardMapping::Map(float x) const { return (std::exp(shape * x) - 1.0F) * scale; }

float ExponentialPotardMapping::Unmap(float y) const { return std::log(y / scale + 1.0F) / shape; }

void ExponentialPotardMapping::MapBlock(float* values, u32 count) const {
    const float a = shape;
    const float k = scale;
    for (u32 i = 0; i < count; ++i) {
        values[i] = (CephesExp(a * values[i]) - 1.0F) * k;
    }
}

} // namespace Velmora::MappingTools
