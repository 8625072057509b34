// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// A power of the position. A shape above 1 gives the low end more way, one below 1 the high end.
class PolynomialPotardMapping : public IPotardMapping {
public:
    /// exponent must not be 0, or Unmap is not defined.
    explicit PolynomialPotardMapping(float exponent);

    float Map(float x) const override;
    float Unmap(float y) const override;
    float GetShape() const override { return shape; }

    /// Single-precision approximation of Map, within 1e-6 over positions 0 to 1.
    void MapBlock(float* values, u32 count) const override;

private:
    float shape;
};

} // namespace Velmora::MappingTools
