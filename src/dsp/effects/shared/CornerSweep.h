// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/SweepEnvelope.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/lfo/SweepLfo.h"
#include "dsp/smoothing/SmoothedLanes.h"

namespace Velmora::dsp {

/// What sweeps the corners of a stereo effect: an oscillator, in time with the song if asked, and the
/// loudness of the sound.
class CornerSweep {
public:
    using Float4 = simd::Float4;

    /// Octaves in lanes: of the corners left and right above 1 Hz, that the oscillator moves them either way,
    /// and that full scale moves them.
    enum Lane : u32 { Left, Right, Swing, EnvelopeSwing };

    void Prepare(float rate);
    void Reset();

    /// The rate is set by SetRate, and all acts with Apply.
    SweepLfoSettings& Oscillator() { return settings; }
    /// Milliseconds; any number.
    void SetEnvelopeTimes(float attack, float release);
    /// Hz and a step of SyncRates; any number. In time, the tempo and the position of the song replace hz.
    void SetRate(const ProcessContext& context, float hz, bool isInTime, u32 syncStep);
    void Apply();

    /// Moves on by a quad of frames, which sounds left and right.
    void Advance(Float4 left, Float4 right);
    /// The octaves of the corners at the end of the quad in lanes 0 and 1.
    Float4 Octaves(const SmoothedLanes& lanes) const {
        return lanes.Value() + lanes.value[Swing] * lfo.Value() + lanes.value[EnvelopeSwing] * loudness;
    }
    static bool Moves(const SmoothedLanes& lanes) {
        return lanes.value[Swing] != 0.0F || lanes.value[EnvelopeSwing] != 0.0F;
    }

private:
    float sampleRate = 44100.0F;
    SweepLfoSettings settings;
    SweepLfoSettings applied;
    SweepLfo lfo;
    SweepEnvelope envelope;
    float loudness = 0.0F;
};

} // namespace Velmora::dsp
