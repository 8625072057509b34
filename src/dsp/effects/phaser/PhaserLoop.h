// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/FrameLanes.h"
#include "support/platform/Types.h"

#include <array>

namespace Velmora::dsp {

/// Two channels of all-pass stages with a cut at either end of the band, in a feedback loop without delay
/// that may change sides.
///
/// A stage turns the vector of its input and its state: (x, w) becomes (c x + s w, s x - c w) with
/// c^2 + s^2 = 1, which is the trapezoidal all-pass with a state scaled by the root of its corner. A rotation
/// keeps the energy whatever the corner does, so a loop of less than 1 is stable under any modulation; the
/// straight lines that the coefficients follow lie within the circle. A stage of c = 1 and s = 0 passes its
/// input on: towards that a stage is faded out.
class PhaserLoop {
public:
    static constexpr u32 mostPairs = 8;

    /// Four frames of each control: feedback of the own and of the other channel, and g / (1 + g) of the
    /// cuts.
    struct Controls {
        float direct[4];
        float other[4];
        float lowCut[4];
        float highCut[4];
    };

    void Clear();
    /// Silence leaves it as it is, and comes out.
    bool IsAtRest() const;
    /// Clears a state that has blown up.
    void Heal();
    /// Pairs from count on rest, and are silent when they return.
    void SetCount(u32 count);
    u32 Count() const { return active; }
    /// Where the coefficients of a pair are to be at the end of the next quad that sweeps.
    void SetTarget(u32 pair, Double2 c, Double2 s) {
        pairs[pair].endC = c;
        pairs[pair].endS = s;
    }
    /// They are there.
    void JumpToTargets();

    /// Replaces the quad by the wet sound. sweeps: pairs have new targets.
    template <bool sweeps>
    void Run(FrameQuad<Double2>& quad, const Controls& controls);

private:
    struct Pair {
        Double2 c = Double2(1.0);
        Double2 s = Double2(0.0);
        Double2 endC = Double2(1.0);
        Double2 endS = Double2(0.0);
        Double2 stepC = Double2(0.0);
        Double2 stepS = Double2(0.0);
        Double2 first = Double2(0.0);
        Double2 second = Double2(0.0);
    };

    template <bool sweeps>
    Double2 Tick(Double2 x, const Controls& controls, u32 frame);
    Double2 ProductOfStages() const;

    std::array<Pair, mostPairs> pairs;
    u32 active = 0;
    /// Of all stages for no state.
    Double2 product = Double2(1.0);
    Double2 highCutState = Double2(0.0);
    Double2 lowCutState = Double2(0.0);
};

} // namespace Velmora::dsp
