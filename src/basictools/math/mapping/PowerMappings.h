// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

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

/// A power of the distance from the centre of the knob, antisymmetric around it for every exponent.
class BipolarPolynomialPotardMapping : public IPotardMapping {
public:
    /// exponent must not be 0, or Unmap is not defined.
    explicit BipolarPolynomialPotardMapping(float exponent);

    float Map(float x) const override;
    float Unmap(float y) const override;
    float GetShape() const override { return shape; }

    /// Single-precision approximation of Map, within 1e-6 over positions 0 to 1.
    void MapBlock(float* values, u32 count) const override;

private:
    float shape;
};

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
