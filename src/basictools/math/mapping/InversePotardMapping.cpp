// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/InversePotardMapping.h"

#include "support/CException.h"

namespace Velmora::MappingTools {

namespace {

constexpr const char* sourceName = "InversePotardMapping";

} // namespace

InversePotardMapping::InversePotardMapping(float minimum, float maximum)
    : min(minimum), inverseMax(1.0F / maximum), max(maximum), inverseMin(1.0F / minimum) {
    const bool isPositive = min > 0.0F && max > 0.0F;
    const bool isNegative = min < 0.0F && max < 0.0F;
    if (!isPositive && !isNegative) {
        throw CException("Inverse Mapping range should not cross 0 value", sourceName, 28);
    }
    if (!(min < max)) {
        throw CException("Max value must be bigger than min value", sourceName, 31);
    }
}

float InversePotardMapping::Map(float x) const {
    const float value = 1.0F / ((inverseMin - inverseMax) * x + inverseMax);
    return (value - min) / (max - min);
}

float InversePotardMapping::Unmap(float y) const {
    const float reciprocal = 1.0F / ((max - min) * y + min);
    return (reciprocal - inverseMax) / (inverseMin - inverseMax);
}

} // namespace Velmora::MappingTools
