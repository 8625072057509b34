// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/SilenceFloor.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/FrameLanes.h"

#include <cmath>

namespace Velmora::dsp {

/// A second-order filter section in direct form 1:
///     y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2, normalised to a0 = 1.
/// Double precision: the lowest corners lie at 1e-4 of the rate, where the rounding of a single-precision
/// recursion shows in the response. For a loop over a block, copy the section to a local and back after it,
/// so that coefficients and state stay in registers. T is double, or Double2 for two channels in lanes;
/// corners, Reset and Heal are for the single channel.
template <class T>
struct BasicBiquadSection {
    T b0 = 0.0;
    T b1 = 0.0;
    T b2 = 0.0;
    T a1 = 0.0;
    T a2 = 0.0;
    /// Past inputs and outputs.
    T x1 = 0.0;
    T x2 = 0.0;
    T y1 = 0.0;
    T y2 = 0.0;

    /// Unity gain at 0 Hz. w is 2 pi times corner over rate, alpha is sin(w) / (2 Q). Keeps the state.
    /// Coefficients that are not finite, those of a Q of 0 for instance, are refused: the last ones stay.
    void SetLowPass(double w, double alpha) {
        const double numerator = 1.0 - std::cos(w);
        SetNormalised(numerator * 0.5, numerator, w, alpha);
    }

    /// Unity gain at the Nyquist frequency; w and alpha as for SetLowPass. Keeps the state.
    void SetHighPass(double w, double alpha) {
        const double numerator = 1.0 + std::cos(w);
        SetNormalised(numerator * 0.5, -numerator, w, alpha);
    }

    T Tick(T x) { return Push(x, b0 * x + b1 * x1 + b2 * x2); }

    /// The gain stands on the feed-forward sum: a change of it is filtered like a change of the input.
    T Tick(T x, T gain) { return Push(x, (b0 * x + b1 * x1 + b2 * x2) * gain); }

    void Reset() { x1 = x2 = y1 = y2 = 0.0; }

    bool IsFinite() const { return IsIntact(x1) && IsIntact(x2) && IsIntact(y1) && IsIntact(y2); }

    /// Silence in is silence out, for as long as it lasts.
    bool IsAtRest() const { return HaveDiedAway(x1, x2, y1, y2); }

    /// Clears a state that has blown up, so that sound comes back by itself. True when it had.
    bool Heal() {
        const bool blown = !IsFinite();
        if (blown) {
            Reset();
        }
        LetRest(x1, x2, y1, y2);
        return blown;
    }

private:
    void SetNormalised(double outer, double middle, double w, double alpha) {
        const double a0 = 1.0 + alpha;
        if (!std::isfinite((std::abs(outer) + 1.0 - alpha) / a0)) {
            return;
        }
        b0 = b2 = outer / a0;
        b1 = middle / a0;
        a1 = -2.0 * std::cos(w) / a0;
        a2 = (1.0 - alpha) / a0;
    }

    /// The newest output enters last: one multiplication and one addition from sample to sample.
    T Push(T x, T feedForward) {
        const T y = (feedForward - a2 * y2) - a1 * y1;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }
};

using BiquadSection = BasicBiquadSection<double>;
using BiquadPair = BasicBiquadSection<Double2>;

/// One channel alone, or two in lanes.
inline BiquadSection Join(const BiquadSection& section) { return section; }
inline BiquadPair Join(const BiquadSection& left, const BiquadSection& right) {
    return {Lanes(left.b0, right.b0), Lanes(left.b1, right.b1), Lanes(left.b2, right.b2),
            Lanes(left.a1, right.a1), Lanes(left.a2, right.a2), Lanes(left.x1, right.x1),
            Lanes(left.x2, right.x2), Lanes(left.y1, right.y1), Lanes(left.y2, right.y2)};
}

/// Gives the states back.
inline void SplitState(const BiquadSection& from, BiquadSection& section) { section = from; }
inline void SplitState(const BiquadPair& pair, BiquadSection& left, BiquadSection& right) {
    SplitLanes(pair.x1, left.x1, right.x1);
    SplitLanes(pair.x2, left.x2, right.x2);
    SplitLanes(pair.y1, left.y1, right.y1);
    SplitLanes(pair.y2, left.y2, right.y2);
}

} // namespace Velmora::dsp
