// SPDX-License-Identifier: GPL-3.0-or-later
#include "python/native/Moves.h"

#include "host/instrument/Instrument.h"

#include <utility>

namespace orphia::python {

void Moves::Add(std::uint32_t id, std::vector<Point> points) { lanes.push_back({id, std::move(points)}); }

void Moves::MoveTo(double seconds, host::Instrument& instrument) {
    for (Lane& lane : lanes) {
        lane.MoveTo(seconds, instrument);
    }
}

void Moves::Lane::MoveTo(double seconds, host::Instrument& instrument) {
    const auto set = [&](float position) {
        instrument.Set({id, host::ParameterSetting::Scale::Position, position});
    };
    if (!hasBegun) {
        lastPosition = instrument.Position(id);
        hasBegun = true;
    }
    bool hasMoved = false;
    for (; next < points.size() && points[next].seconds < seconds; ++next) {
        lastPosition = points[next].position;
        lastSeconds = points[next].seconds;
        hasMoved = true;
    }
    if (hasMoved) {
        set(lastPosition);
    }
    if (next < points.size() && points[next].isLinear) {
        const Point& point = points[next];
        const double share = (seconds - lastSeconds) / (point.seconds - lastSeconds);
        set(lastPosition + (point.position - lastPosition) * static_cast<float>(share));
    }
}

} // namespace orphia::python
