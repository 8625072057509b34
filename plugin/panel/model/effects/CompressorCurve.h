// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <numbers>

namespace orphia::panel {

/// What the compressor makes of a steady level. All in dB, but the ratio.
struct CompressorCurve {
    double threshold = 0.0;
    /// 0 for an infinite one.
    double inverseRatio = 1.0;
    double knee = 0.0;
    double inputGain = 0.0;
    /// In front of it, and taken back behind it.
    double compensatedGain = 0.0;
    double outputGain = 0.0;
    /// The most that is taken away.
    double limit = 1e9;
    bool hasMakeup = false;

    double Reduction(double level) const {
        const double fromKnee = level - (threshold - 0.5 * knee);
        const double within = std::clamp(fromKnee, 0.0, knee);
        const double bend = knee > 0.0 ? 0.5 * within * within / knee : 0.0;
        return std::min((1.0 - inverseRatio) * (bend + std::max(0.0, fromKnee - knee)), limit);
    }
    double operator()(double level) const {
        const double makeup = hasMakeup ? Reduction(0.0) / std::numbers::sqrt2 : 0.0;
        return level + inputGain - Reduction(level + inputGain + compensatedGain) + makeup + outputGain;
    }
};

} // namespace orphia::panel
