// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

/// The settings of a bit crusher in their own units, within the bounds that it can render.
struct BitCrusherSettings {
    /// From this rate of the hold on it is off.
    static constexpr float highestRateHz = 48000.0F;
    /// At this corner the high cut is off.
    static constexpr float highestCutHz = 20000.0F;

    float mix = 1.0F;
    float bits = 16.0F;
    float rateHz = highestRateHz;
    float jitter = 0.0F;
    float dither = 0.0F;
    float mu = 0.0F;
    bool antiAlias = false;
    float driveDb = 0.0F;
    float bias = 0.0F;
    float bitErrors = 0.0F;
    float slope = 0.0F;
    float lowCutHz = 20.0F;
    float highCutHz = highestCutHz;
    float wetGainDb = 0.0F;
    float shaping = 0.0F;
    float splitCents = 0.0F;

    bool operator==(const BitCrusherSettings&) const = default;
};

} // namespace Velmora::dsp
