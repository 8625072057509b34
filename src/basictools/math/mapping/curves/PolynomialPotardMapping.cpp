// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/PolynomialPotardMapping.h"

#include "basictools/math/mapping/curves/CephesPower.h"

#include <cmath>

namespace Velmora::MappingTools {

PolynomialPotardMapping::PolynomialPotardMapping(float exponent) : shape(exponent) {}

float PolynomialPotardMapping::Map(float x) const { return std::pow(x, shape); }

float PolynomialPotardMapping::Unmap(float y) const { return std::pow(y, 1.0F / shape); }

void PolynomialPotardMapping::MapBlock(float* values, u32 count) const {
    CephesPower(shape).MapBlock(
        values, count, [](float x) { return x; }, [](float, float power) { return power; });
}

} // namespace Velmora::MappingTools
