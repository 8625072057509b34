// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>
#include <vector>

namespace orphia::panel {

/// When the echoes of a click in the middle come, on which side, and how loud: without what filters and the
/// tape take away.
struct DelayTaps {
    enum Mode { Stereo, PingPong, Cross };

    struct Settings {
        /// In any unit, in which the taps are told too.
        double time = 1.0;
        /// -0.5 to 0.5: above 0 the right side is earlier, below 0 the left one.
        double offset = 0.0;
        double feedback = 0.0;
        Mode mode = Stereo;
        /// 0 to 1: of equal power.
        double mix = 1.0;
        double width = 1.0;
    };
    struct Tap {
        double time = 0.0;
        double level = 0.0;
        bool isRight = false;
    };

    static constexpr double leastLevel = 0.0158; // -36 dB
    static constexpr std::size_t mostTaps = 64;

    /// In order of time, as far as they are louder than leastLevel.
    static std::vector<Tap> Of(const Settings& settings);
    /// Quarter notes of "1/8 dotted" and the like; 0 for what is none.
    static double BeatsOf(std::string_view noteLength);
};

} // namespace orphia::panel
