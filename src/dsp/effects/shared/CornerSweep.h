// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/SweepEnvelope.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/lfo/SweepLfo.h"
#include "dsp/math/SyncRates.h"
#include "dsp/smoothing/SmoothedLanes.h"

namespace Velmora::dsp {

/// How the corners of an effect are swept.
struct CornerSweepSettings {
    SweepLfoSettings oscillator;
    /// The oscillator keeps to a step of SyncRates and to the position of the song.
    bool isInTime = false;
    u32 syncStep = 0;
    /// Time constants of the loudness in milliseconds.
    float attackMs = 10.0F;
    float releaseMs = 150.0F;

    bool operator==(const CornerSweepSettings&) const = default;
};

/// What sweeps the corners of a stereo effect: an oscillator, in time with the song if asked, and the
/// loudness of the sound.
class CornerSweep {
public:
    using Float4 = simd::Float4;

    /// Octaves in lanes: of the corners left and right above 1 Hz, that the oscillator moves them either way,
    /// and that full scale moves them.
    enum Lane : u32 { Left, Right, Swing, EnvelopeSwing };

    void Prepare(float rate) {
        sampleRate = rate;
        lfo.Prepare(rate);
    }
    void Reset() {
        lfo.Reset();
        envelope.Reset();
        loudness = 0.0F;
    }
    void Set(const CornerSweepSettings& newSettings) {
        settings = newSettings;
        lfo.Set(settings.oscillator);
        envelope.SetTimes(settings.attackMs, settings.releaseMs, sampleRate);
    }
    /// Once a block.
    void FollowSong(const ProcessContext& context) {
        if (settings.isInTime) {
            lfo.FollowSong(context, SyncRates::cycleBeats[settings.syncStep]);
        }
    }

    /// Moves on by a quad of frames, which sounds left and right.
    void Advance(Float4 left, Float4 right) {
        lfo.Advance();
        loudness = envelope.Follow(left, right);
    }
    /// The same of so many quads of silence, while that moves nothing but the oscillator.
    bool IsQuiet() const { return loudness == 0.0F; }
    void PassSilence(u32 quads) {
        for (; quads != 0; --quads) {
            lfo.Advance();
        }
    }
    /// The octaves of the corners at the end of the quad in lanes 0 and 1.
    Float4 Octaves(const SmoothedLanes& lanes) const {
        return lanes.Value() + lanes.value[Swing] * lfo.Value() + lanes.value[EnvelopeSwing] * loudness;
    }
    static bool Moves(const SmoothedLanes& lanes) {
        return lanes.value[Swing] != 0.0F || lanes.value[EnvelopeSwing] != 0.0F;
    }

private:
    float sampleRate = 44100.0F;
    CornerSweepSettings settings;
    SweepLfo lfo;
    SweepEnvelope envelope;
    float loudness = 0.0F;
};

} // namespace Velmora::dsp
