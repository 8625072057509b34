// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/VuMeterMapping.h"

#include <cmath>

namespace Velmora::MappingTools {

namespace {

/// The part of the scale for gains above a bound: deflection = slope * log10(gain) + offset.
struct ScalePart {
    float above;
    float slope;
    float offset;
};

constexpr ScalePart scale[] = {
    {0.1F, 0.5F, 1.0F},    {0.031622775F, 0.4F, 0.9F},    {0.01F, 0.3F, 0.75F}, {0.0031622776F, 0.15F, 0.45F},
    {0.001F, 0.05F, 0.2F}, {0.00031622776F, 0.1F, 0.35F},
};

} // namespace

float VuMeterMapping::Unmap(float y) const {
    const float gain = std::pow(10.0F, -3.0F * y);
    for (const ScalePart& part : scale) {
        if (gain > part.above) {
            return 1.0F - (part.slope * std::log10(gain) + part.offset);
        }
    }
    return 1.0F;
}

} // namespace Velmora::MappingTools
