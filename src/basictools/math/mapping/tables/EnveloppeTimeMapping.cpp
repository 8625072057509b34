// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/tables/EnveloppeTimeMapping.h"

#include "basictools/math/mapping/tables/PointCurve.h"

namespace Velmora::MappingTools {

namespace {

constexpr PointCurve<21> curve({0.0F,          0.00027507564F, 0.0010502888F, 0.0021755984F, 0.0035509765F,
                                0.0055015129F, 0.0080772210F,  0.011928280F,  0.017554827F,  0.025682062F,
                                0.037835404F,  0.049538624F,   0.077971444F,  0.092250369F,  0.15019131F,
                                0.19727924F,   0.29808196F,    0.37982947F,   0.53337169F,   0.68578857F,
                                1.0F},
                               0.05F);

} // namespace

float EnveloppeTimeMapping::Map(float x) const {
    if (x >= 1.0F) {
        return 1.0F;
    }
    return x > 0.0F ? curve.ValueAt(x) : 0.0F;
}

float EnveloppeTimeMapping::Unmap(float y) const {
    if (y >= 1.0F) {
        return 1.0F;
    }
    return y > 0.0F ? curve.PositionOf(y) : 0.0F;
}

} // namespace Velmora::MappingTools
