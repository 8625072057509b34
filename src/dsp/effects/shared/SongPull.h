// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/lfo/ChorusLfo.h"
#include "dsp/math/SyncRates.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

/// Lets an oscillator fall into step with the song: it runs faster or slower until it is where it would be
/// had it started with the song.
class SongPull {
public:
    void Prepare(float sampleRate) { quadSeconds = 4.0 / static_cast<double>(sampleRate); }
    void Reset() {
        counter = {};
        pullHz = 0.0F;
    }

    /// Once a block: while the song plays and cycles last a step of SyncRates, which makes hz of the tempo,
    /// the oscillator drifts into step; else it runs freely.
    void FollowSong(const ProcessContext& context, bool isSynced, float step, float hz) {
        if (context.isPlaying != 0 && isSynced && SyncRates::IsTempo(context.tempo)) {
            Follow(SyncRates::CyclePhase(step, context.songPosition), hz);
        } else {
            pullHz = 0.0F;
        }
    }

    /// Moves on by quads of frames, in which the oscillator, at a rate of its own of up to fastestHz, is to
    /// run at the rate returned.
    float Advance(float hz, float fastestHz, u32 quads = 1) {
        const float pulled = std::clamp(hz + pullHz, 0.0F, fastestHz + static_cast<float>(fastestPullHz));
        counter.Advance(static_cast<double>(pulled) * quadSeconds, quads);
        return pulled;
    }

private:
    /// Towards a phase, 0..1, that is the one of this moment at a rate of hz.
    void Follow(double phase, float hz) {
        constexpr double pullSeconds = 0.25;
        double lag = phase - counter.phase;
        lag -= std::round(lag);
        // It may wait for the song, but not run backwards.
        const double slowest = -std::min(static_cast<double>(hz), fastestPullHz);
        pullHz = static_cast<float>(std::clamp(lag / pullSeconds, slowest, fastestPullHz));
    }
    static constexpr double fastestPullHz = 1.0;

    /// Where the oscillator is in its cycle.
    CycleCounter counter;
    double quadSeconds = 0.0;
    float pullHz = 0.0F;
};

} // namespace Velmora::dsp
