// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/Meters.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

void Meter::Update(float largest, double seconds) {
    const auto time = static_cast<float>(seconds);
    const float heard = largest > 0.0F ? std::max(20.0F * std::log10(largest), floorDecibels) : floorDecibels;
    clipped = clipped || largest >= 1.0F;
    level = std::max(heard, level - fallPerSecond * time);
    sincePeak += seconds;
    if (heard >= peak) {
        peak = heard;
        sincePeak = 0.0;
    } else if (sincePeak > holdSeconds) {
        peak = std::max(level, peak - fallPerSecond * time);
    }
}

float Meter::Height(float decibels) { return std::clamp(1.0F - decibels / floorDecibels, 0.0F, 1.0F); }

} // namespace orphia::panel
