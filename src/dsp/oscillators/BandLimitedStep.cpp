// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/BandLimitedStep.h"

#include "support/platform/Standard.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace Velmora::dsp {

namespace {

constexpr u32 width = BandLimitedStep::width;
constexpr double halfWidth = width / 2.0;
/// Of the Kaiser window: 60 dB.
constexpr double windowShape = 5.65;
double WindowedSinc(double distance) {
    const double edge = distance / halfWidth;
    if (edge * edge >= 1.0) {
        return 0.0;
    }
    const double window = Platform::BesselI0(windowShape * std::sqrt(1.0 - edge * edge));
    const double angle = std::numbers::pi * distance;
    return window * (angle == 0.0 ? 1.0 : std::sin(angle) / angle);
}

/// The integral from the left end at every row of the tables, scaled to end at 1.
std::vector<double> StepCurve(u32 rowsPerFrame) {
    const double h = 1.0 / rowsPerFrame;
    std::vector<double> curve(1, 0.0);
    double from = WindowedSinc(-halfWidth);
    for (u32 i = 0; i < width * rowsPerFrame; ++i) {
        const double x = i * h - halfWidth;
        // Simpson's rule.
        const double to = WindowedSinc(x + h);
        curve.push_back(curve.back() + (from + 4.0 * WindowedSinc(x + 0.5 * h) + to) * h / 6.0);
        from = to;
    }
    const double whole = curve.back();
    for (double& value : curve) {
        value /= whole;
    }
    return curve;
}

} // namespace

BandLimitedStep::BandLimitedStep() : kernels((phaseCount + 1) * width), residuals((phaseCount + 1) * width) {
    const std::vector<double> curve = StepCurve(phaseCount);
    for (u32 phase = 0; phase <= phaseCount; ++phase) {
        const double late = static_cast<double>(phase) / phaseCount;
        double sum = 0.0;
        for (u32 k = 0; k < width; ++k) {
            sum += WindowedSinc(k - halfWidth + late);
        }
        for (u32 k = 0; k < width; ++k) {
            const u32 at = phase * width + k;
            kernels[at] = static_cast<float>(WindowedSinc(k - halfWidth + late) / sum);
            const double plain = k < width / 2 ? 0.0 : 1.0;
            residuals[at] = static_cast<float>(curve[k * phaseCount + phase] - plain);
        }
    }
}

const BandLimitedStep& SharedBandLimitedStep() {
    static const BandLimitedStep shared;
    return shared;
}

} // namespace Velmora::dsp
