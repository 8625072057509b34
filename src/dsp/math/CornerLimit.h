// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace Velmora::dsp {

/// The corner frequency in Hz that a filter is really given. From 44100 Hz on that is the one asked for.
/// Below, where the circuits' own corners would pass the Nyquist frequency, it is at most 0.49 of the rate.
constexpr double LimitCorner(double hz, double sampleRate) {
    constexpr double lowestFullRate = 44100.0;
    const double highest = 0.49 * sampleRate;
    return sampleRate < lowestFullRate && hz > highest ? highest : hz;
}

} // namespace Velmora::dsp
