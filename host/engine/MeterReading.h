// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"

#include <array>
#include <cstddef>

namespace orphia::host {

/// What the front panel of the vocoder shows, each 0 to 1 where nothing else is said.
struct ORPHIA_PUBLIC MeterReading {
    static constexpr std::size_t bandCount = 16;

    std::array<float, bandCount> bands{};
    /// The noise gate is open.
    float hiss = 0.0F;
    /// The voiced decision, smoothed.
    float buzz = 0.0F;
    /// The modulator's and the carrier's preamp are overloaded.
    float programOverload = 0.0F;
    float carrierOverload = 0.0F;
    /// What the safety limiter took away, in dB from 0.
    float limiterReduction = 0.0F;
};

} // namespace orphia::host
