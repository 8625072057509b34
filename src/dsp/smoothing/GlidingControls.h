// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/SmoothedLanes.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Velmora::dsp {

/// The numbers of a signal path that glide when a setting changes, four to a group. Groups from firstSlow on
/// take the slower time. Everything advances by quads of frames.
template <u32 count, u32 firstSlow>
class GlidingControls {
public:
    /// Time constants in seconds.
    void Prepare(float sampleRate, double fastSeconds, double slowSeconds) {
        const auto left = [sampleRate](double seconds) {
            return static_cast<float>(std::exp(-4.0 / (seconds * static_cast<double>(sampleRate))));
        };
        fastDecay = left(fastSeconds);
        slowDecay = left(slowSeconds);
    }

    /// Arrives at once.
    void Arrive() {
        for (SmoothedLanes& group : groups) {
            group.Arrive();
        }
    }

    void Step() {
        for (u32 i = 0; i < count; ++i) {
            groups[i].Step(i < firstSlow ? fastDecay : slowDecay);
        }
    }

    bool IsMoving() const {
        return std::any_of(groups.begin(), groups.end(),
                           [](const SmoothedLanes& group) { return group.IsMoving(); });
    }

    SmoothedLanes& operator[](u32 group) { return groups[group]; }
    const SmoothedLanes& operator[](u32 group) const { return groups[group]; }

private:
    std::array<SmoothedLanes, count> groups;
    /// What is left of a way after a quad.
    float fastDecay = 0.0F;
    float slowDecay = 0.0F;
};

} // namespace Velmora::dsp
