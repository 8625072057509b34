// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/InvPolynomialPotardMapping.h"

namespace Velmora::MappingTools {

/// A power below a movable centre and an inverse power above it: flat ends, or a flat middle, joined at
/// (centre, centre).
class BipolarVariableCenterInvPowPotardMapping : public InvPolynomialPotardMapping {
public:
    /// exponent must not be 0; centrePosition lies strictly between 0 and 1, or its end of the knob is not
    /// defined.
    BipolarVariableCenterInvPowPotardMapping(float exponent, float centrePosition);

    float Map(float x) const override;
    float Unmap(float y) const override;
    float GetShape2() const override { return center; }
    void MapBlock(float* values, u32 count) const override;

private:
    float Bend(float position, float exponent) const;

    float center;
};

} // namespace Velmora::MappingTools
