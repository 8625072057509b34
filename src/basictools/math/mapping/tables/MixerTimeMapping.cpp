// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/tables/MixerTimeMapping.h"

#include "basictools/math/mapping/tables/PointCurve.h"

namespace Velmora::MappingTools {

namespace {

constexpr PointCurve<10> curve({0.0F, 0.0014065391F, 0.0041949414F, 0.0085872915F, 0.019222703F, 0.038420729F,
                                0.091795191F, 0.28584823F, 0.55262184F, 1.0F},
                               0.11111111F);

} // namespace

float MixerTimeMapping::Map(float x) const {
    if (x >= 1.0F) {
        return 1.0F;
    }
    return x >= 0.0F ? curve.ValueAt(x) : x;
}

float MixerTimeMapping::Unmap(float y) const {
    const bool isInside = y >= 0.0F && y < 1.0F;
    return isInside ? curve.PositionOf(y) : y;
}

} // namespace Velmora::MappingTools
