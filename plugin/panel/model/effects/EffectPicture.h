// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"

#include <string>
#include <vector>

namespace orphia::panel {

/// What the picture of an effect shows, in a square of 1 by 1: x to the right, y up.
struct EffectPicture {
    struct Point {
        double x = 0.0;
        double y = 0.0;
    };
    struct Bar {
        Point end;
        bool isRight = false;
    };
    struct Mark {
        double at = 0.0;
        std::string text;
    };

    /// A curve, filled down or up to a height, or echoes as bars.
    std::vector<Point> curve;
    double filledFrom = 0.0;
    std::vector<Bar> bars;
    std::vector<Mark> across;
    std::vector<Mark> up;
    /// The same in words.
    std::string text;

    bool IsEmpty() const { return curve.empty() && bars.empty(); }

    /// Of what is in a slot, from what its controls are set to; empty for an effect that has no picture.
    static EffectPicture Of(const plugin::PluginInstrument& instrument, unsigned slot, double sampleRate);
};

} // namespace orphia::panel
