// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/HarmonicMapping.h"

namespace Velmora::MappingTools {

HarmonicMapping::HarmonicMapping(float extremeRatio) : extreme(extremeRatio) {}

float HarmonicMapping::Map(float x) const {
    if (x < 0.5F) {
        return 1.0F / (2.0F * x * (1.0F - extreme) + extreme);
    }
    if (x == 0.5F) {
        return 1.0F;
    }
    return (2.0F * x - 1.0F) * (extreme - 1.0F) + 1.0F;
}

float HarmonicMapping::Unmap(float y) const {
    if (y < 1.0F) {
        return (0.5F / (1.0F - extreme)) * (1.0F / y - extreme);
    }
    if (y == 1.0F) {
        return 0.5F;
    }
    return (0.5F / (extreme - 1.0F)) * (y - 1.0F) + 0.5F;
}

} // namespace Velmora::MappingTools
