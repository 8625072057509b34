// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/effects/DriveCurve.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

DriveCurve::DriveCurve(double driveDb, double inputDb, double bias)
    : resistance(std::clamp(groundOhms * (std::pow(10.0, driveDb / 20.0) - 1.0), leastOhms, mostOhms)),
      volts(voltsAtFullScale * std::pow(10.0, inputDb / 20.0)), biasAmperes(bias * fullBiasAmperes) {
    rest = Stage(0.0);
}

/// The current through the ground resistor divides between resistor and diodes: V / R + 2 I sinh(V / nVt) =
/// i. The left side rises with V, and the diodes alone would hold it at the asinh: the root is bisected
/// below.
double DriveCurve::Stage(double sample) const {
    const double in = std::clamp(sample * volts, -supplyVolts, supplyVolts);
    const double current = in / groundOhms + biasAmperes;
    double low = 0.0;
    double high = thermalVolts * std::asinh(std::fabs(current) / (2.0 * saturationAmperes));
    for (int n = 0; n < 50; ++n) {
        const double middle = 0.5 * (low + high);
        const double taken = middle / resistance + 2.0 * saturationAmperes * std::sinh(middle / thermalVolts);
        (taken < std::fabs(current) ? low : high) = middle;
    }
    return in + std::copysign(low, current);
}

} // namespace orphia::panel
