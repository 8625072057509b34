// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/midi/TempoMap.h"
#include "host/parameters/ParameterCatalog.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string_view>
#include <vector>

namespace orphia::host {
class Instrument;
}

namespace orphia::tools {

/// How parameters move in the course of a song, as a table of comma-separated values tells it:
///
///     time,parameter,value,move
///     0,Wet,"0 %",
///     4.5,MasterVolume,-12 dB,jump
///     3:2.5,Wet,100 %,linear
///
/// Each line is a point: from its time on a parameter has the value. Times are in seconds, or bar and beat,
/// both from 1, of a song of four quarter notes a bar. Names and values are as with --set. "linear" moves the
/// knob there evenly, from the parameter's point before or, for its first, from where it is at the start; the
/// fourth column may be missing. Points of one parameter are in order of time.
class Automation {
public:
    static constexpr std::uintmax_t maxFileSize = 16U << 20U;

    /// Throws FileError with the line and the reason.
    static Automation Read(const std::filesystem::path& path, const host::ParameterCatalog& catalog,
                           const host::TempoMap& tempo);

    bool Moves(std::uint32_t id) const { return lanes.contains(id); }

    /// Sets what moves to where it is just in front of a time; times only go on.
    void MoveTo(double seconds, host::Instrument& instrument);

private:
    struct Point {
        double seconds;
        /// Of the knob.
        float position;
        bool isLinear;
    };
    struct Lane {
        std::vector<Point> points;
        /// The next one to come.
        std::size_t next = 0;
        /// Where the knob was at the last point, and when.
        float lastPosition = 0.0F;
        double lastSeconds = 0.0;
        bool hasBegun = false;
    };

    void AddLine(std::string_view line, const host::ParameterCatalog& catalog, const host::TempoMap& tempo);
    static void MoveLane(std::uint32_t id, Lane& lane, double seconds, host::Instrument& instrument);

    std::map<std::uint32_t, Lane> lanes;
};

} // namespace orphia::tools
