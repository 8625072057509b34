// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// The feel of an envelope time, by a fixed curve of 21 points. Both directions clamp to 0..1; a NaN
/// yields 0.
class EnveloppeTimeMapping : public IPotardMapping {
public:
    float Map(float x) const override;
    float Unmap(float y) const override;
};

} // namespace Velmora::MappingTools
