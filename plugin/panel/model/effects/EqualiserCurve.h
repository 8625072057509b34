// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

namespace orphia::panel {

/// The response of the equaliser's bands in series.
class EqualiserCurve {
public:
    enum Mode { LowPass, BandPass, HighPass, LowShelf, Bell, HighShelf };

    struct Band {
        Mode mode = Bell;
        /// Of shelves at their extreme and of bells at their centre.
        double decibels = 0.0;
        double hz = 1000.0;
        double q = 0.7071;
    };

    static constexpr double lowestHz = 20.0;
    static constexpr double highestHz = 20000.0;

    /// Those that are on; the filters are digital ones at this rate, in Hz.
    EqualiserCurve(std::vector<Band> bands, double sampleRate);

    /// From 0 Hz to below half the rate.
    double Decibels(double hz) const;

private:
    double rate;
    std::vector<Band> bands;
};

} // namespace orphia::panel
