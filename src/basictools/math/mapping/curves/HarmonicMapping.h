// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

/// A ratio around 1: from 1 / extreme at the low end over 1 in the middle to the extreme at the high end, so
/// that equal turns to either side give reciprocal ratios. Yields the ratio itself.
class HarmonicMapping : public IPotardMapping {
public:
    /// extremeRatio is the ratio at the high end; it must not be 1, or Unmap is not defined.
    explicit HarmonicMapping(float extremeRatio);

    float Map(float x) const override;
    float Unmap(float y) const override;
    float GetShape() const override { return extreme; }
    bool IsAbsolute() const override { return true; }

private:
    float extreme;
};

} // namespace Velmora::MappingTools
