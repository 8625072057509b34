// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/flanger/FlangerControls.h"
#include "dsp/lfo/ChorusLfo.h"

namespace Velmora::dsp {

/// The swing of the two sides of a flanger, which can fall into step with the song.
class FlangerLfo {
public:
    using Float4 = simd::Float4;

    void Prepare(float sampleRate);
    void Reset();

    /// From now on drifts towards a phase, 0..1, that is the one of this moment at a rate of hz.
    void Follow(double phase, float hz);
    /// Runs freely again.
    void Release() { pullHz = 0.0F; }
    /// Moves on by a quad of frames.
    void Advance(float hz);

    /// Lane 0 left, 1 right, within -1..1.
    Float4 Value(const FlangerControls& controls) const;

private:
    ChorusLfo lfo;
    /// Where the oscillator is in its cycle.
    CycleCounter counter;
    double quadSeconds = 0.0;
    float pullHz = 0.0F;
};

} // namespace Velmora::dsp
