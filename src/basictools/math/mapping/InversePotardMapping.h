// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// Runs straight in the reciprocal of the value, as a period against its frequency, and is then brought back
/// to 0..1. The knob runs backwards: position 0 gives 1, which is the maximum, and position 1 gives 0.
class InversePotardMapping : public IPotardMapping {
public:
    /// The range of the value itself. Throws CException when the range touches or crosses 0, or when minimum
    /// is not below maximum.
    InversePotardMapping(float minimum, float maximum);

    float Map(float x) const override;
    float Unmap(float y) const override;

    /// The minimum and the maximum of the range.
    float GetShape() const override { return min; }
    float GetShape2() const override { return max; }

private:
    float min;
    float inverseMax;
    float max;
    float inverseMin;
};

} // namespace Velmora::MappingTools
