// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// The scale of a level meter, for display: Unmap turns y, a level of -60 y dB, into the deflection counted
/// from the top. Nobody reads the other direction, so Map tells only whether the end is reached.
class VuMeterMapping : public IPotardMapping {
public:
    float Map(float x) const override { return x == 1.0F ? 1.0F : 0.0F; }
    float Unmap(float y) const override;
};

} // namespace Velmora::MappingTools
