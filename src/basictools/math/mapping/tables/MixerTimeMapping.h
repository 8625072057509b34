// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// The feel of a mixer time, by a fixed curve of 10 points. Map yields 1 from position 1 on; apart from
/// that, what lies outside 0..1, a NaN included, passes unchanged in both directions.
class MixerTimeMapping : public IPotardMapping {
public:
    float Map(float x) const override;
    float Unmap(float y) const override;
};

} // namespace Velmora::MappingTools
