// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orphia::host {
class Instrument;
}

namespace orphia::python {

/// How parameters move in the course of a passage.
class Moves {
public:
    struct Point {
        double seconds;
        /// Of the knob.
        float position;
        /// Reached in an even move from the point before, or from where the knob is at the start; otherwise a
        /// jump.
        bool isLinear;
    };

    /// Points in order of time.
    void Add(std::uint32_t id, std::vector<Point> points);
    bool IsEmpty() const { return lanes.empty(); }

    /// Sets what moves to where it is just in front of a time; times only go on.
    void MoveTo(double seconds, host::Instrument& instrument);

private:
    struct Lane {
        std::uint32_t id;
        std::vector<Point> points;
        /// The next one to come.
        std::size_t next = 0;
        float lastPosition = 0.0F;
        double lastSeconds = 0.0;
        bool hasBegun = false;

        void MoveTo(double seconds, host::Instrument& instrument);
    };

    std::vector<Lane> lanes;
};

} // namespace orphia::python
