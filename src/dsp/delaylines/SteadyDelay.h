// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/DelayRing.h"

namespace Velmora::dsp {

/// Delays one channel by whole samples. A new delay is faded to, so that the pitch stays; a delay that
/// changes on and on is caught up with after each fade.
class SteadyDelay {
public:
    /// In samples. Allocates and clears; one fade takes fadeFrames.
    void Allocate(u32 longestDelay, u32 fadeFrames) {
        ring.SetLongestDelay(longestDelay);
        fadeStep = 1.0F / static_cast<float>(fadeFrames);
        Clear();
    }
    /// The delay asked for last is in force.
    void Clear() {
        ring.Clear();
        present = next = wanted;
        fade = 1.0F;
    }
    /// At most the longest delay.
    void SetDelay(u32 samples) { wanted = samples; }

    float Tick(float in) {
        ring.Push(in);
        if (present == wanted && present == next) {
            return ring.Back(present + 1);
        }
        return TickFading();
    }

private:
    float TickFading() {
        if (present == next) {
            next = wanted;
            fade = 0.0F;
        }
        fade += fadeStep;
        const float old = ring.Back(present + 1);
        const float young = ring.Back(next + 1);
        if (fade >= 1.0F) {
            present = next;
            return young;
        }
        return old + (young - old) * fade;
    }

    DelayRing ring;
    u32 present = 0;
    u32 next = 0;
    u32 wanted = 0;
    float fade = 1.0F;
    float fadeStep = 1.0F;
};

} // namespace Velmora::dsp
