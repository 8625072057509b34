// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/flanger/FlangerControls.h"
#include "dsp/effects/shared/SongPull.h"
#include "dsp/lfo/ChorusLfo.h"

namespace Velmora::dsp {

/// The swing of the two sides of a flanger, which can fall into step with the song.
class FlangerLfo {
public:
    using Float4 = simd::Float4;

    void Prepare(float sampleRate) {
        lfo.Prepare(sampleRate);
        song.Prepare(sampleRate);
    }
    void Reset() {
        lfo.Reset();
        song.Reset();
    }
    /// Moves on by quads of frames.
    void Advance(float hz, u32 quads) {
        lfo.Advance(song.Advance(hz, FlangerSettings::fastestHz, quads), quads);
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

    SongPull song;

private:
    ChorusLfo lfo;
};

} // namespace Velmora::dsp
