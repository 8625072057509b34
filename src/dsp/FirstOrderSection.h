// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/StateLimit.h"

namespace Velmora::dsp {

/// A first-order filter section: y = b0 x + b1 x1 - a1 y1. Precision and use as for BiquadSection.
struct FirstOrderSection {
    double b0 = 0.0;
    double b1 = 0.0;
    double a1 = 0.0;
    /// Past input and output.
    double x1 = 0.0;
    double y1 = 0.0;

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

    double Tick(double x) { return Push(x, b0 * x + b1 * x1); }

    /// The gain stands on the feed-forward sum.
    double Tick(double x, double gain) { return Push(x, (b0 * x + b1 * x1) * gain); }

    void Reset() { x1 = y1 = 0.0; }

    bool IsFinite() const { return IsWithinStateLimit(x1) && IsWithinStateLimit(y1); }

    /// Clears a state that has blown up, so that sound comes back by itself. True when it had.
    bool Heal() {
        const bool blown = !IsFinite();
        if (blown) {
            Reset();
        }
        return blown;
    }

private:
    double Push(double x, double feedForward) {
        const double y = feedForward - a1 * y1;
        x1 = x;
        y1 = y;
        return y;
    }
};

} // namespace Velmora::dsp
