// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/DelayRing.h"

namespace Velmora::dsp {

/// Delays a gain and draws each fall of it back over the delay in a straight line, so that a gain is fully
/// down when audio that is as much delayed brings what called for it.
class LookaheadGain {
public:
    /// Allocates.
    void SetLongestDelay(u32 samples) { ring.SetLongestDelay(samples); }
    /// The ring then tells of no gain at all, so that a fall fades in what follows.
    void Clear() { ring.Clear(); }

    /// Replaces the gains by those of `delay` frames ago, 1 to the longest delay.
    void Delay(float* gains, u32 count, u32 delay);

private:
    void DrawBack(float gain, float oldest, u32 delay);
    u32 DrawBackByFours(u32 age, float gain, float slope, u32 delay);

    DelayRing ring;
};

} // namespace Velmora::dsp
