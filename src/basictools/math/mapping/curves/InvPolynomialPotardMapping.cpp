// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/InvPolynomialPotardMapping.h"

#include "basictools/math/mapping/curves/CephesPower.h"

#include <cmath>

namespace Velmora::MappingTools {

InvPolynomialPotardMapping::InvPolynomialPotardMapping(float exponent) : shape(exponent) {}

float InvPolynomialPotardMapping::Map(float x) const { return 1.0F - std::pow(1.0F - x, shape); }

float InvPolynomialPotardMapping::Unmap(float y) const { return 1.0F - std::pow(1.0F - y, 1.0F / shape); }

void InvPolynomialPotardMapping::MapBlock(float* values, u32 count) const {
    CephesPower(shape).MapBlock(
        values, count, [](float x) { return 1.0F - x; }, [](float, float power) { return 1.0F - power; });
}

} // namespace Velmora::MappingTools
