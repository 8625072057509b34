// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/SilenceFloor.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/FrameLanes.h"

namespace Velmora::dsp {

/// A first-order filter section: y = b0 x + b1 x1 - a1 y1. Precision, use and T as for BasicBiquadSection.
template <class T>
struct BasicFirstOrderSection {
    T b0 = 0.0;
    T b1 = 0.0;
    T a1 = 0.0;
    /// Past input and output.
    T x1 = 0.0;
    T y1 = 0.0;

    /// Unity gain at 0 Hz. t is the tangent of pi times corner over rate. Keeps the state.
    void SetLowPass(double t) {
        b0 = b1 = t / (1.0 + t);
        a1 = -(1.0 - t) / (1.0 + t);
    }

    /// Unity gain at the Nyquist frequency; t as for SetLowPass. Keeps the state.
    void SetHighPass(double t) {
        b0 = 1.0 / (1.0 + t);
        b1 = -b0;
        a1 = -(1.0 - t) / (1.0 + t);
    }

    T Tick(T x) { return Push(x, b0 * x + b1 * x1); }

    /// The gain stands on the feed-forward sum.
    T Tick(T x, T gain) { return Push(x, (b0 * x + b1 * x1) * gain); }

    void Reset() { x1 = y1 = 0.0; }

    bool IsFinite() const { return IsIntact(x1) && IsIntact(y1); }

    /// Silence in is silence out, for as long as it lasts.
    bool IsAtRest() const { return HaveDiedAway(x1, y1); }

    /// Clears a state that has blown up, so that sound comes back by itself. True when it had.
    bool Heal() {
        const bool blown = !IsFinite();
        if (blown) {
            Reset();
        }
        LetRest(x1, y1);
        return blown;
    }

private:
    T Push(T x, T feedForward) {
        const T y = feedForward - a1 * y1;
        x1 = x;
        y1 = y;
        return y;
    }
};

using FirstOrderSection = BasicFirstOrderSection<double>;
using FirstOrderPair = BasicFirstOrderSection<Double2>;

/// One channel alone, or two in lanes.
inline FirstOrderSection Join(const FirstOrderSection& section) { return section; }
inline FirstOrderPair Join(const FirstOrderSection& left, const FirstOrderSection& right) {
    return {Lanes(left.b0, right.b0), Lanes(left.b1, right.b1), Lanes(left.a1, right.a1),
            Lanes(left.x1, right.x1), Lanes(left.y1, right.y1)};
}

/// Gives the states back.
inline void SplitState(const FirstOrderSection& from, FirstOrderSection& section) { section = from; }
inline void SplitState(const FirstOrderPair& pair, FirstOrderSection& left, FirstOrderSection& right) {
    SplitLanes(pair.x1, left.x1, right.x1);
    SplitLanes(pair.y1, left.y1, right.y1);
}

} // namespace Velmora::dsp
