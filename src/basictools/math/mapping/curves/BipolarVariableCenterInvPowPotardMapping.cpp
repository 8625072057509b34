// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/BipolarVariableCenterInvPowPotardMapping.h"

#include "basictools/math/mapping/curves/CephesPower.h"

#include <bit>
#include <cmath>

namespace Velmora::MappingTools {

BipolarVariableCenterInvPowPotardMapping::BipolarVariableCenterInvPowPotardMapping(float exponent,
                                                                                   float centrePosition)
    : InvPolynomialPotardMapping(exponent), center(centrePosition) {}

float BipolarVariableCenterInvPowPotardMapping::Bend(float position, float exponent) const {
    if (position <= center) {
        return std::pow(position / center, exponent) * center;
    }
    const float width = 1.0F - center;
    return (1.0F - std::pow(1.0F - (position - center) / width, exponent)) * width + center;
}

float BipolarVariableCenterInvPowPotardMapping::Map(float x) const { return Bend(x, shape); }

float BipolarVariableCenterInvPowPotardMapping::Unmap(float y) const { return Bend(y, 1.0F / shape); }

void BipolarVariableCenterInvPowPotardMapping::MapBlock(float* values, u32 count) const {
    const float c = center;
    const float width = 1.0F - c;
    // The side is read off the sign bit, since a comparison of floats would keep the loop scalar.
    const auto isHigh = [c](float x) { return std::bit_cast<i32>(c - x) >> 31; };
    CephesPower(shape).MapBlock(
        values, count, [=](float x) { return SelectByMask(isHigh(x), 1.0F - (x - c) / width, x / c); },
        [=](float x, float power) { return SelectByMask(isHigh(x), (1.0F - power) * width + c, power * c); });
}

} // namespace Velmora::MappingTools
