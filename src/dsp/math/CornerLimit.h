// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace Velmora::dsp {

/// As far as the corner of a filter goes, as a share of the sample rate.
template <class T>
inline constexpr T highestCornerShare = T(0.49);

/// The corner frequency in Hz that a filter is really given. From 44100 Hz on that is the one asked for.
/// Below, where the circuits' own corners would pass the Nyquist frequency, it is at most 0.49 of the rate.
constexpr double LimitCorner(double hz, double sampleRate) {
    constexpr double lowestFullRate = 44100.0;
    const double highest = highestCornerShare<double> * sampleRate;
    return sampleRate < lowestFullRate && hz > highest ? highest : hz;
}

} // namespace Velmora::dsp
