// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

namespace orphia::bench {

/// What it takes to make instances that all stay.
struct InstanceCosts {
    /// The first one also makes what all share.
    double firstMilliseconds = 0.0;
    /// Of the others.
    double medianMilliseconds = 0.0;
    /// Mebibytes of each of the others.
    double mebibytes = 0.0;
};

/// The engine's processor: created and initialised.
InstanceCosts MeasureProcessors(std::uint32_t rate, std::size_t count);
/// The instrument of the host library, ready to be played.
InstanceCosts MeasureInstruments(std::uint32_t rate, std::size_t count);

} // namespace orphia::bench
