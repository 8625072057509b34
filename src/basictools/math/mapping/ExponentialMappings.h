// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Velmora::MappingTools {

/// An exponential through (0, 0) and (1, 1), the usual feel of times and frequencies. A positive shape gives
/// the low end more way, a negative one the high end.
class ExponentialPotardMapping : public IPotardMapping {
public:
    /// curve must not be 0, where the exponential has no such form.
    explicit ExponentialPotardMapping(float curve);

    /// With a scale of the caller's own in place of 1 / (exp(curve) - 1).
    ExponentialPotardMapping(float curve, float outputScale);

    float Map(float x) const override;
    float Unmap(float y) const override;
    float GetShape() const override { return shape; }

    /// Single-precision approximation of Map, within 1e-6 over positions 0 to 1.
    void MapBlock(float* values, u32 count) const override;

protected:
    float shape;
    float scale;
};

/// Two exponentials back to back, antisymmetric around the centre of the knob.
class BipolarExpPotardMapping : public ExponentialPotardMapping {
public:
    using ExponentialPotardMapping::ExponentialPotardMapping;

    float Map(float x) const override;
    float Unmap(float y) const override;
    void MapBlock(float* values, u32 count) const override;
};

} // namespace Velmora::MappingTools
