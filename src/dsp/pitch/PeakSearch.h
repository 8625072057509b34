// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>

namespace Velmora::dsp {

/// The lag of the first period in a normalised autocorrelation of `count` lags, or 0 when there is none.
///
/// `weighted` is `normalised` times a positive weight that falls towards long lags. It chooses the lobe, so
/// that the period wins over its multiples; the unweighted function then places the peak, which the slope
/// of the weight would pull towards 0. Values that are not numbers never win.
inline u32 FindPeriodPeak(const float* weighted, const float* normalised, u32 count) {
    const auto isNotPositive = [](float value) { return value <= 0.0F; };
    const float* end = weighted + count;
    // Everything is alike at lag 0 and close to it.
    const float* zeroLagEnd = std::find_if(weighted, end, isNotPositive);
    if (zeroLagEnd == end) {
        return 0;
    }
    const float* highest = std::max_element(zeroLagEnd, end);
    if (isNotPositive(*highest)) {
        return 0;
    }
    // The lobe begins after zeroLagEnd, so that there is always a lag before it.
    const float* lobe = highest;
    while (!isNotPositive(lobe[-1])) {
        --lobe;
    }
    const float* lobeEnd = std::find_if(highest, end, isNotPositive);
    const float* peak =
        std::max_element(normalised + (lobe - weighted) - 1, normalised + (lobeEnd - weighted));
    return static_cast<u32>(peak - normalised);
}

} // namespace Velmora::dsp
