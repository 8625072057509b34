// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/FloatMode.h"
#include "support/platform/Types.h"

#include <cmath>

namespace Velmora::dsp {

/// Where denormals cannot be flushed, a signal in front of recursions is never quite silent: it is raised and
/// lowered, from block to block, by what nobody hears. So no state behind it decays into denormals, with
/// which many processors reckon a hundred times slower. Elsewhere this does nothing.
class SilenceFloor {
public:
    /// To one or more channels of a block.
    template <class... Channels>
    void AddTo(u32 frames, Channels*... channels) {
        if constexpr (!Platform::flushesDenormals) {
            level = -level;
            for (u32 n = 0; n < frames; ++n) {
                ((channels[n] += level), ...);
            }
        }
    }

private:
    /// -300 dB of full scale.
    float level = 1e-15F;
};

/// Whether states have died away: no float tells them from zero, and the least sound that a float can carry
/// has a last bit far above them, in which they are lost. So it makes no difference whether they decay
/// further or stay.
template <class... States>
bool HaveDiedAway(States... states) {
    constexpr double nothing = 1e-100;
    return ((std::abs(states) < nothing) && ...);
}

/// Between blocks, where denormals cannot be flushed: states that have come near to them are set to 0.
template <class... States>
void LetRest(States&... states) {
    if constexpr (!Platform::flushesDenormals) {
        constexpr float nearlyNothing = 1e-25F;
        ((states = std::abs(states) < nearlyNothing ? States{} : states), ...);
    }
}

} // namespace Velmora::dsp
