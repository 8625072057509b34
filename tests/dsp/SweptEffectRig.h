// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/EffectRig.h"

namespace orphia::test {

/// Largest second difference between two frames.
inline float Roughness(const Signal& signal, std::size_t from, std::size_t to) {
    float most = 0.0F;
    for (std::size_t n = from + 2; n < to; ++n) {
        most = std::max(most, std::abs(signal[n] - 2.0F * signal[n - 1] + signal[n - 2]));
    }
    return most;
}

/// As ExpectNoSteps, for effects whose settings distort or ring: what counts is by how much the jump of a
/// parameter is rougher than the sound a while before and after it.
template <class M>
void ExpectJumpsToBeNoRougherThanTheSound(const Settings& settings, float limit) {
    const Signal sine = Tone(26400, 220.5, 44100.0, 0.4);
    for (u32 id = 0; id < M::parameterCount; ++id) {
        for (const float from : {0.0F, 1.0F}) {
            const auto effect = Make<M>(settings);
            effect->SetParameterNormalized(id, from);
            Signal heard = Play(*effect, sine, sine)[0];
            effect->SetParameterNormalized(id, 1.0F - from);
            const Signal after = Play(*effect, sine, sine)[0];
            heard.insert(heard.end(), after.begin(), after.end());
            const float own = std::max(Roughness(heard, 13200, 26400), Roughness(heard, 39600, 52800));
            EXPECT_LT((Roughness(heard, 26300, 39600) - own) / Peak(heard), limit)
                << NameOf(*effect, id) << " from " << from << ", own " << own;
        }
    }
}

} // namespace orphia::test
