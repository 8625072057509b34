// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/LinearMappings.h"

#include <algorithm>

namespace Velmora::MappingTools {

PiecewiseLinearPotardMapping::PiecewiseLinearPotardMapping(float kneeValue) : knee(kneeValue) {}

float PiecewiseLinearPotardMapping::Map(float x) const {
    if (x < 0.75F) {
        return x * 1.3333334F * knee;
    }
    return (x - 0.75F) * 4.0F * (1.0F - knee) + knee;
}

float PiecewiseLinearPotardMapping::Unmap(float y) const {
    const float position = y < knee ? (y / knee) * 0.75F : ((y - knee) / (1.0F - knee)) * 0.25F + 0.75F;
    return std::clamp(position, 0.0F, 1.0F);
}

} // namespace Velmora::MappingTools
