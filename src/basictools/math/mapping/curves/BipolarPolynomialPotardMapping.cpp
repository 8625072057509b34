// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/BipolarPolynomialPotardMapping.h"

#include "basictools/math/mapping/curves/CephesPower.h"

#include <cmath>

namespace Velmora::MappingTools {

BipolarPolynomialPotardMapping::BipolarPolynomialPotardMapping(float exponent) : shape(exponent) {}

float BipolarPolynomialPotardMapping::Map(float x) const {
    // The power of the magnitude, with the sign put back: an even power keeps its sign so, and a broken one
    // is defined on the lower half of the knob as well.
    const float t = 2.0F * x - 1.0F;
    const float magnitude = std::pow(std::abs(t), shape);
    return (t < 0.0F ? -magnitude : magnitude) / 2.0F + 0.5F;
}

float BipolarPolynomialPotardMapping::Unmap(float y) const {
    const float inverse = 1.0F / shape;
    if (y <= 0.5F) {
        return 0.5F - std::pow(1.0F - 2.0F * y, inverse) / 2.0F;
    }
    return (std::pow(2.0F * y - 1.0F, inverse) + 1.0F) / 2.0F;
}

void BipolarPolynomialPotardMapping::MapBlock(float* values, u32 count) const {
    CephesPower(shape).MapBlock(
        values, count, [](float x) { return std::abs(2.0F * x - 1.0F); },
        [](float x, float power) { return std::copysign(power, 2.0F * x - 1.0F) / 2.0F + 0.5F; });
}

} // namespace Velmora::MappingTools
