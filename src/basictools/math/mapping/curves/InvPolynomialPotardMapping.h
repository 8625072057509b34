// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// A power counted from the far end: the curve of PolynomialPotardMapping turned half around.
class InvPolynomialPotardMapping : public IPotardMapping {
public:
    /// exponent must not be 0, or Unmap is not defined.
    explicit InvPolynomialPotardMapping(float exponent);

    float Map(float x) const override;
    float Unmap(float y) const override;
    float GetShape() const override { return shape; }

    /// Single-precision approximation of Map, within 1e-6 over positions 0 to 1.
    void MapBlock(float* values, u32 count) const override;

protected:
    float shape;
};

} // namespace Velmora::MappingTools
