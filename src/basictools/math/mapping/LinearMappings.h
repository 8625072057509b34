// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Velmora::MappingTools {

/// The straight knob: position and shaped value are the same.
class LinearPotardMapping : public IPotardMapping {
public:
    float Map(float x) const override { return x; }
    float Unmap(float y) const override { return y; }
    void MapBlock(float* /*values*/, u32 /*count*/) const override {}
};

/// The straight knob turned backwards.
class ReversePotardMapping : public IPotardMapping {
public:
    float Map(float x) const override { return 1.0F - x; }
    float Unmap(float y) const override { return 1.0F - y; }
};

/// Two straight pieces: the first three quarters of the knob cover 0 to the knee, the last quarter the rest.
class PiecewiseLinearPotardMapping : public IPotardMapping {
public:
    /// kneeValue lies strictly between 0 and 1.
    explicit PiecewiseLinearPotardMapping(float kneeValue);

    float Map(float x) const override;

    /// The result is clamped to 0..1.
    float Unmap(float y) const override;
    float GetShape() const override { return knee; }

private:
    float knee;
};

} // namespace Velmora::MappingTools
