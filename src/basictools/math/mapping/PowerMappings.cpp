// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/PowerMappings.h"

#include "basictools/math/mapping/CephesPower.h"
#include "support/platform/Standard.h"

#include <cmath>

namespace Velmora::MappingTools {

PolynomialPotardMapping::PolynomialPotardMapping(float exponent) : shape(exponent) {}

float PolynomialPotardMapping::Map(float x) const { return std::pow(x, shape); }

float PolynomialPotardMapping::Unmap(float y) const { return std::pow(y, 1.0F / shape); }

void PolynomialPotardMapping::MapBlock(float* values, u32 count) const {
    CephesPower(shape).MapBlock(
        values, count, [](float x) { return x; }, [](float, float power) { return power; });
}

InvPolynomialPotardMapping::InvPolynomialPotardMapping(float exponent) : shape(exponent) {}

float InvPolynomialPotardMapping::Map(float x) const { return 1.0F - std::pow(1.0F - x, shape); }

float InvPolynomialPotardMapping::Unmap(float y) const { return 1.0F - std::pow(1.0F - y, 1.0F / shape); }

void InvPolynomialPotardMapping::MapBlock(float* values, u32 count) const {
    CephesPower(shape).MapBlock(
        values, count, [](float x) { return 1.0F - x; }, [](float, float power) { return 1.0F - power; });
}

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
    const auto isHigh = [c](float x) { return BitCast<i32>(c - x) >> 31; };
    CephesPower(shape).MapBlock(
        values, count, [=](float x) { return SelectByMask(isHigh(x), 1.0F - (x - c) / width, x / c); },
        [=](float x, float power) { return SelectByMask(isHigh(x), (1.0F - power) * width + c, power * c); });
}

} // namespace Velmora::MappingTools
