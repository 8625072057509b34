// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/StateLimit.h"

#include <cmath>

namespace Velmora::dsp {

/// A second-order filter section in direct form 1:
///     y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2, normalised to a0 = 1.
/// Double precision: the lowest corners lie at 1e-4 of the rate, where the rounding of a single-precision
/// recursion shows in the response. For a loop over a block, copy the section to a local and back after it,
/// so that coefficients and state stay in registers.
struct BiquadSection {
    double b0 = 0.0;
    double b1 = 0.0;
    double b2 = 0.0;
    double a1 = 0.0;
    double a2 = 0.0;
    /// Past inputs and outputs.
    double x1 = 0.0;
    double x2 = 0.0;
    double y1 = 0.0;
    double y2 = 0.0;

    /// Unity gain at 0 Hz. w is 2 pi times corner over rate, alpha is sin(w) / (2 Q). Keeps the state.
    void SetLowPass(double w, double alpha) {
        const double numerator = 1.0 - std::cos(w);
        SetNormalised(numerator * 0.5, numerator, w, alpha);
    }

    /// Unity gain at the Nyquist frequency; w and alpha as for SetLowPass. Keeps the state.
    void SetHighPass(double w, double alpha) {
        const double numerator = 1.0 + std::cos(w);
        SetNormalised(numerator * 0.5, -numerator, w, alpha);
    }

    double Tick(double x) { return Push(x, b0 * x + b1 * x1 + b2 * x2); }

    /// The gain stands on the feed-forward sum: a change of it is filtered like a change of the input.
    double Tick(double x, double gain) { return Push(x, (b0 * x + b1 * x1 + b2 * x2) * gain); }

    void Reset() { x1 = x2 = y1 = y2 = 0.0; }

    bool IsFinite() const {
        return IsWithinStateLimit(x1) && IsWithinStateLimit(x2) && IsWithinStateLimit(y1) &&
               IsWithinStateLimit(y2);
    }

    /// Clears a state that has blown up, so that sound comes back by itself. True when it had.
    bool Heal() {
        const bool blown = !IsFinite();
        if (blown) {
            Reset();
        }
        return blown;
    }

private:
    void SetNormalised(double outer, double middle, double w, double alpha) {
        const double a0 = 1.0 + alpha;
        b0 = b2 = outer / a0;
        b1 = middle / a0;
        a1 = -2.0 * std::cos(w) / a0;
        a2 = (1.0 - alpha) / a0;
    }

    /// The newest output enters last: one multiplication and one addition from sample to sample.
    double Push(double x, double feedForward) {
        const double y = (feedForward - a2 * y2) - a1 * y1;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }
};

} // namespace Velmora::dsp
