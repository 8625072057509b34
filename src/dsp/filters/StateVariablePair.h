// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Within.h"
#include "dsp/vectors/FrameLanes.h"

namespace Velmora::dsp {

/// A second-order state-variable filter of two channels, two trapezoidal integrators in a loop without delay
/// (Zavalishin: The Art of VA Filter Design, chapter 4). Without input the energy of the states changes by
/// -4 g k band^2 in a sample, whatever gain and damping do from one to the next: it is stable as long as the
/// damping k is not negative.
///
/// `limit` times the energy of the oscillation adds to the damping. That energy, band^2 - low high, is the
/// square of the peak of the band for every steady sine and 0 for what does not move; so a loud resonance is
/// held without any harmonics, and one of negative damping oscillates as a pure sine at the cutoff.
class StateVariablePair {
public:
    struct Outputs {
        Double2 low;
        Double2 band;
        Double2 high;
    };

    /// g is the tangent of pi times cutoff over sample rate.
    Outputs Tick(Double2 x, Double2 g, double damping, double limit) {
        const Double2 k = damping + limit * energy;
        const Double2 high = (x - (k + g) * bandState - lowState) / (1.0 + g * (k + g));
        const Double2 band = bandState + g * high;
        bandState = band + g * high;
        const Double2 low = lowState + g * band;
        lowState = low + g * band;
        energy = xsimd::max(band * band - low * high, Double2(0.0));
        return {low, band, high};
    }

    void Clear() { *this = {}; }
    bool IsAtRest() const {
        return xsimd::all(bandState == Double2(0.0) && lowState == Double2(0.0) && energy == Double2(0.0));
    }

    /// Clears a state that has blown up.
    void Heal() {
        const Double2 largest = xsimd::abs(bandState) + xsimd::abs(lowState);
        if (!IsIntact(xsimd::hadd(largest))) {
            Clear();
        }
    }

private:
    Double2 bandState = Double2(0.0);
    Double2 lowState = Double2(0.0);
    Double2 energy = Double2(0.0);
};

} // namespace Velmora::dsp
