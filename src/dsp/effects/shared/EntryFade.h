// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/StereoQuad.h"

#include <algorithm>

namespace Velmora::dsp {

/// What enters the lines of an effect that is switched in while sound plays: without a fade, its first echo
/// would begin with an edge, long after the fade of the effect itself.
class EntryFade {
public:
    using Float4 = simd::Float4;

    void Prepare(float sampleRate) { step = 1.0F / (seconds * sampleRate); }
    void Reset() { gain = 1.0F; }
    void Start() { gain = 0.0F; }
    bool IsOver() const { return gain == 1.0F; }

    /// The coming quad; to the bit once the fade is over.
    StereoQuad Next(const StereoQuad& sound) {
        const Float4 frames{1.0F, 2.0F, 3.0F, 4.0F};
        const Float4 gains = xsimd::min(Float4(gain) + frames * step, Float4(1.0F));
        gain = std::min(gain + 4.0F * step, 1.0F);
        return sound * gains;
    }

private:
    static constexpr float seconds = 0.025F;
    float step = 1.0F;
    float gain = 1.0F;
};

} // namespace Velmora::dsp
