// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/DiodeKnee.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

/// The y of y + e^y = z, the logarithm of the Wright omega function.
double LogOmega(double z) {
    double y = z > 1.0 ? std::log(z) : z;
    for (int i = 0; i < 40; ++i) {
        const double power = std::exp(y);
        const double step = (y + power - z) / (1.0 + power);
        y -= step;
        if (std::abs(step) < 1e-14 * (1.0 + std::abs(y))) {
            break;
        }
    }
    return y;
}

} // namespace

/// The chords make y continuous, and it is nearly straight in each segment. One entry more, for loads are of
/// two.
std::vector<float> DiodeKnee::MakeTable() {
    std::vector<float> chords;
    const auto start = [](u32 segment) {
        return static_cast<double>(std::bit_cast<float>((firstSegment + segment) << segmentBits));
    };
    for (u32 segment = 0; segment <= segmentCount + 1; ++segment) {
        const double from = start(segment);
        const double to = start(segment + 1);
        const double value = LogOmega(from - static_cast<double>(tableShift));
        const double slope = (LogOmega(to - static_cast<double>(tableShift)) - value) / (to - from);
        chords.push_back(static_cast<float>(value - slope * from));
        chords.push_back(static_cast<float>(slope));
    }
    return chords;
}

DiodeKnee::DiodeKnee() {
    static const std::vector<float> shared = MakeTable();
    table = shared.data();
}

void DiodeKnee::Aim(float halfOfA) {
    const float shiftOfA = std::max(std::log(halfOfA), tableStart - tableShift);
    shift = Float4(tableShift + shiftOfA);
    back = Float4(-shiftOfA);
    // At rest the diodes cancel: to the bit, or silence would not be silent.
    blockingAtRest = Float4(0.0F);
    blockingAtRest = -Solve(Float4(0.0F));
    constexpr int roundings = 3;
    for (int i = 0; i < roundings; ++i) {
        back -= Solve(Float4(0.0F));
    }
}

} // namespace Velmora::dsp
