// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/flanger/FlangerControls.h"
#include "dsp/lfo/ChorusLfo.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

/// The swing of the two sides of a flanger, which can fall into step with the song.
class FlangerLfo {
public:
    using Float4 = simd::Float4;

    void Prepare(float sampleRate) {
        lfo.Prepare(sampleRate);
        quadSeconds = 4.0 / static_cast<double>(sampleRate);
    }
    void Reset() {
        lfo.Reset();
        counter = {};
        pullHz = 0.0F;
    }

    /// From now on drifts towards a phase, 0..1, that is the one of this moment at a rate of hz.
    void Follow(double phase, float hz) {
        constexpr double pullSeconds = 0.25;
        constexpr double fastestPullHz = 1.0;
        double lag = phase - counter.phase;
        lag -= std::round(lag);
        // It may wait for the song, but not run backwards.
        const double slowest = -std::min(static_cast<double>(hz), fastestPullHz);
        pullHz = static_cast<float>(std::clamp(lag / pullSeconds, slowest, fastestPullHz));
    }
    /// Runs freely again.
    void Release() { pullHz = 0.0F; }
    /// Moves on by a quad of frames.
    void Advance(float hz) {
        const float pulled = std::clamp(hz + pullHz, 0.0F, FlangerSettings::fastestHz + 1.0F);
        lfo.Advance(pulled);
        counter.Advance(static_cast<double>(pulled) * quadSeconds);
    }

    /// Lane 0 left, 1 right, within -1..1.
    Float4 Value(const FlangerControls& controls) const {
        using Controls = FlangerControls;
        const auto& weights = controls[Controls::Shapes].value;
        const float right = controls[Controls::Motion].value[Controls::StereoPhase];
        Float4 value = lfo.Value(weights, {0.0F, right, 0.0F, 0.0F}, 0.0F);
        if (weights[ChorusLfo::Random] != 0.0F) {
            // Each lane has a random walk of its own: the right side follows that of the left.
            const Float4 follower = lfo.Value(weights, Float4(right), 0.0F);
            value = Float4{value.get(0), follower.get(0), 0.0F, 0.0F};
        }
        const float bend = controls[Controls::Hand].value[Controls::Bend];
        if (bend != 0.0F) {
            const Float4 unit = 0.5F * value + 0.5F;
            value += bend * (2.0F * unit * unit - 1.0F - value);
        }
        return value;
    }

private:
    ChorusLfo lfo;
    /// Where the oscillator is in its cycle.
    CycleCounter counter;
    double quadSeconds = 0.0;
    float pullHz = 0.0F;
};

} // namespace Velmora::dsp
