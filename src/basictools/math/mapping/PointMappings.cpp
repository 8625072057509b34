// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/PointMappings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace Velmora::MappingTools {

namespace {

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

constexpr PointCurve<21> envelopeCurve(
    {0.0F,         0.00027507564F, 0.0010502888F, 0.0021755984F, 0.0035509765F, 0.0055015129F, 0.0080772210F,
     0.011928280F, 0.017554827F,   0.025682062F,  0.037835404F,  0.049538624F,  0.077971444F,  0.092250369F,
     0.15019131F,  0.19727924F,    0.29808196F,   0.37982947F,   0.53337169F,   0.68578857F,   1.0F},
    0.05F);

} // namespace

float EnveloppeTimeMapping::Map(float x) const {
    if (x >= 1.0F) {
        return 1.0F;
    }
    return x > 0.0F ? envelopeCurve.ValueAt(x) : 0.0F;
}

float EnveloppeTimeMapping::Unmap(float y) const {
    if (y >= 1.0F) {
        return 1.0F;
    }
    return y > 0.0F ? envelopeCurve.PositionOf(y) : 0.0F;
}

namespace {

constexpr PointCurve<10> mixerCurve({0.0F, 0.0014065391F, 0.0041949414F, 0.0085872915F, 0.019222703F,
                                     0.038420729F, 0.091795191F, 0.28584823F, 0.55262184F, 1.0F},
                                    0.11111111F);

} // namespace

float MixerTimeMapping::Map(float x) const {
    if (x >= 1.0F) {
        return 1.0F;
    }
    return x >= 0.0F ? mixerCurve.ValueAt(x) : x;
}

float MixerTimeMapping::Unmap(float y) const {
    const bool isInside = y >= 0.0F && y < 1.0F;
    return isInside ? mixerCurve.PositionOf(y) : y;
}

namespace {

/// The part of the scale for gains above a bound: deflection = slope * log10(gain) + offset.
struct ScalePart {
    float above;
    float slope;
    float offset;
};

constexpr ScalePart scale[] = {
    {0.1F, 0.5F, 1.0F},    {0.031622775F, 0.4F, 0.9F},    {0.01F, 0.3F, 0.75F}, {0.0031622776F, 0.15F, 0.45F},
    {0.001F, 0.05F, 0.2F}, {0.00031622776F, 0.1F, 0.35F},
};

} // namespace

float VuMeterMapping::Unmap(float y) const {
    const float gain = std::pow(10.0F, -3.0F * y);
    for (const ScalePart& part : scale) {
        if (gain > part.above) {
            return 1.0F - (part.slope * std::log10(gain) + part.offset);
        }
    }
    return 1.0F;
}

TablePotardMapping::TablePotardMapping(std::vector<float> values) : table(std::move(values)) {
    if (table.empty()) {
        throw std::invalid_argument("TablePotardMapping: empty table.");
    }
    for (std::size_t i = 1; i < table.size(); ++i) {
        if (!(table[i] > table[i - 1])) {
            throw std::invalid_argument("TablePotardMapping: table is not striclty increasing.");
        }
    }
    // One more entry, so that interpolation at the very end may read past the last value.
    table.push_back(table.back());
}

float TablePotardMapping::Map(float x) const {
    const std::size_t last = table.size() - 2;
    const float f = x * static_cast<float>(last);
    if (f >= static_cast<float>(last)) {
        return table[last];
    }
    const std::size_t i = f > 0.0F ? static_cast<std::size_t>(f) : 0;
    return table[i] + (f - static_cast<float>(i)) * (table[i + 1] - table[i]);
}

float TablePotardMapping::Unmap(float y) const {
    // A value above the last one finds the appended entry, whose step of 0 makes the result infinite.
    const auto found = std::lower_bound(table.begin(), table.end() - 1, y);
    const auto i = static_cast<std::size_t>(found - table.begin());
    if (i == 0) {
        return 0.0F;
    }
    const float d = table[i] - table[i - 1];
    const auto segments = static_cast<float>(table.size() - 2);
    return (static_cast<float>(i - 1) * d + y - table[i - 1]) / (segments * d);
}

} // namespace Velmora::MappingTools
