// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/engine/MeterReading.h"

#include <cstddef>
#include <optional>
#include <span>

namespace orphia::tools {

/// What a run renders: a passage of sound, and what still sounds after it.
class Performance {
public:
    virtual ~Performance() = default;
    Performance(const Performance&) = delete;
    Performance& operator=(const Performance&) = delete;

    /// Renders the next frames, interleaved stereo, and returns how many of them belong to the passage: all
    /// of them up to its end. Throws FileError when an input breaks off.
    virtual std::size_t Render(std::span<float> output) = 0;

    /// Nothing will begin to sound any more; what sounds fades.
    virtual bool IsDone() const = 0;

    /// Of the passage, for the display.
    virtual double ExpectedSeconds() const = 0;

    /// The largest readings since the last call.
    virtual host::MeterReading TakeMeters() = 0;

protected:
    Performance() = default;
};

class RenderOutput;
class RunDisplay;

/// Renders a performance into a file: its passage and a tail of so many seconds; without a number, until it
/// is silent. Throws FileError, and Stopped when a signal came. Warns of a tail that does not end by itself.
void RenderWhole(Performance& performance, RenderOutput& output, std::optional<double> tailSeconds,
                 RunDisplay& display);

} // namespace orphia::tools
