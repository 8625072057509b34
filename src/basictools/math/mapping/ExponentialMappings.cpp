// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/ExponentialMappings.h"

#include "basictools/math/mapping/CephesExpLog.h"

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

float BipolarExpPotardMapping::Map(float x) const {
    if (x <= 0.5F) {
        return (1.0F - (std::exp((1.0F - 2.0F * x) * shape) - 1.0F) * scale) / 2.0F;
    }
    return ((std::exp((2.0F * x - 1.0F) * shape) - 1.0F) * scale + 1.0F) / 2.0F;
}

float BipolarExpPotardMapping::Unmap(float y) const {
    if (y <= 0.5F) {
        return (1.0F - std::log((1.0F - 2.0F * y) / scale + 1.0F) / shape) / 2.0F;
    }
    return (std::log((2.0F * y - 1.0F) / scale + 1.0F) / shape + 1.0F) / 2.0F;
}

void BipolarExpPotardMapping::MapBlock(float* values, u32 count) const {
    const float a = shape;
    const float k = scale;
    for (u32 i = 0; i < count; ++i) {
        const float t = 2.0F * values[i] - 1.0F;
        const float magnitude = (CephesExp(std::abs(t) * a) - 1.0F) * k;
        values[i] = (std::copysign(magnitude, t) + 1.0F) / 2.0F;
    }
}

} // namespace Velmora::MappingTools
