// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

namespace Velmora::dsp {

/// The tone control of a sampler: a lowpass and behind it a highpass of second order, for two channels, both
/// at the edges of the audible band until the control moves one of them in. Trapezoidal state-variable
/// sections, stable for every corner below the Nyquist frequency.
class ToneControl {
public:
    /// In Hz.
    void SetSampleRate(float rate) { sampleRate = rate; }
    /// -1 to 1: below 0 lowers the lowpass, above 0 raises the highpass, ten octaves each.
    void SetControl(float control);
    void Clear();
    /// In place; frames is a multiple of 4, the buffers are 16-byte aligned.
    void Run(float* left, float* right, u32 frames);
    /// False when a sample that is not a number, or an absurdly large one, has got into the state.
    bool IsSound() const;

private:
    /// Lanes: lowpass left and right, highpass left and right.
    using Lanes = simd::Float4;
    static constexpr u32 groupSize = 4;

    struct Section;
    struct State {
        Lanes s1 = Lanes(0.0F);
        Lanes s2 = Lanes(0.0F);
    };
    /// Frame by frame: the lowpass in the lower lanes, the highpass in the upper ones.
    struct Group {
        Lanes frame[groupSize] = {Lanes(0.0F), Lanes(0.0F), Lanes(0.0F), Lanes(0.0F)};
    };

    Section ForCorner(float hz) const;
    void Step(Group& lowpassed, Group& signal);

    float sampleRate = 1.0F;
    /// With a1, a2 and a3 of the sections: 2 a1 - 1, 2 a2 and 2 a3, as the states are advanced by them.
    Lanes keep = Lanes(0.0F);
    Lanes couple = Lanes(0.0F);
    Lanes follow = Lanes(0.0F);
    State state;
};

} // namespace Velmora::dsp
