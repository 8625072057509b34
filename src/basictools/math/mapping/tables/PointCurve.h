// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace Velmora::MappingTools {

/// A rising curve through points at equal spacing over 0..1, in linear interpolation.
template <std::size_t pointCount>
class PointCurve {
public:
    /// spacing is 1 / (pointCount - 1) as the inverse shall use it.
    constexpr PointCurve(const std::array<float, pointCount>& curvePoints, float pointSpacing)
        : points(curvePoints), spacing(pointSpacing) {}

    /// The value at a position of at least 0 and below 1.
    float ValueAt(float position) const {
        const float f = position * static_cast<float>(lastSegment + 1);
        // The product may round up to the last point, which begins no segment.
        const std::size_t i = std::min(static_cast<std::size_t>(f), lastSegment);
        const float fraction = f - static_cast<float>(i);
        return (1.0F - fraction) * points[i] + fraction * points[i + 1];
    }

    /// The position of a value of at least the first point and below the last.
    float PositionOf(float value) const {
        std::size_t i = 0;
        while (i < lastSegment && value > points[i + 1]) {
            ++i;
        }
        const float fraction = (value - points[i]) / (points[i + 1] - points[i]);
        return (static_cast<float>(i) + fraction) * spacing;
    }

private:
    static constexpr std::size_t lastSegment = pointCount - 2;

    std::array<float, pointCount> points;
    float spacing;
};

} // namespace Velmora::MappingTools
