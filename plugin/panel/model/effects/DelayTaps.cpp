// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/effects/DelayTaps.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <string>

namespace orphia::panel {

std::vector<DelayTaps::Tap> DelayTaps::Of(const Settings& settings) {
    const double wet = std::sin(0.5 * std::numbers::pi * settings.mix);
    const double direct = wet * 0.5 * (1.0 + settings.width);
    const double other = wet * 0.5 * (1.0 - settings.width);
    const double times[] = {settings.time * (1.0 + std::min(settings.offset, 0.0)),
                            settings.time * (1.0 - std::max(settings.offset, 0.0))};
    std::vector<Tap> taps;
    // What enters one line comes out of it, and goes on in the same or in the other one.
    const auto follow = [&](unsigned line, double level) {
        double time = 0.0;
        for (std::size_t n = 0; n < mostTaps / 2 && level * direct >= leastLevel; ++n) {
            time += times[line];
            taps.push_back({time, level * direct, line == 1});
            if (level * other >= leastLevel) {
                taps.push_back({time, level * other, line == 0});
            }
            level *= settings.feedback;
            line = settings.mode == Stereo ? line : 1 - line;
        }
    };
    if (settings.mode == PingPong) {
        follow(0, std::numbers::sqrt2);
    } else {
        follow(0, 1.0);
        follow(1, 1.0);
    }
    std::ranges::stable_sort(taps, {}, &Tap::time);
    taps.resize(std::min(taps.size(), mostTaps));
    return taps;
}

double DelayTaps::BeatsOf(std::string_view noteLength) {
    const std::size_t slash = noteLength.find('/');
    if (slash == std::string_view::npos) {
        return 0.0;
    }
    const double whole = std::atof(std::string(noteLength.substr(0, slash)).c_str());
    const double part = std::atof(std::string(noteLength.substr(slash + 1)).c_str());
    const double kind = noteLength.ends_with("dotted")    ? 1.5
                        : noteLength.ends_with("triplet") ? 2.0 / 3.0
                                                          : 1.0;
    return part > 0.0 ? 4.0 * whole / part * kind : 0.0;
}

} // namespace orphia::panel
