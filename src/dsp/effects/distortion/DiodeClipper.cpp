// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/DiodeClipper.h"

#include "dsp/math/Within.h"
#include "support/CSingleton.h"

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
        return static_cast<double>(BitCast<float>((firstSegment + segment) << segmentBits));
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

/// The one of the process.
struct DiodeKnee::Table : CSingleton<Table> {
    const std::vector<float> chords = MakeTable();
};

DiodeKnee::DiodeKnee() { table = Table::GetInstance().chords.data(); }

void DiodeKnee::Set(float halfOfA) {
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

void DiodeClipper::Prepare(double newRate) {
    rate = newRate;
    const double g = 1.0 / (2.0 * rate * groundResistance * groundCapacitance);
    highPassStep = Float4(static_cast<float>(g / (1.0 + g)));
}

void DiodeClipper::Reset() { highPassState = last = lastButOne = Float4(0.0F); }

bool DiodeClipper::IsSound() const {
    return IsIntact(static_cast<double>(
        xsimd::hadd(xsimd::abs(highPassState) + xsimd::abs(last) + xsimd::abs(lastButOne))));
}

/// V = (4 V1 - V2) / 3 + k (i - V / R - 2 I sinh(V / nVt)), k = 2 / (3 C rate), over 1 + k / R and in units
/// of nVt, is x + A sinh(x) = P.
void DiodeClipper::Set(float resistance, float biasAmperes) {
    const double k = 2.0 / (3.0 * feedbackCapacitance * rate);
    const double whole = 1.0 + k / static_cast<double>(resistance);
    lastWeight = Float4(static_cast<float>(4.0 / (3.0 * whole)));
    lastButOneWeight = Float4(static_cast<float>(-1.0 / (3.0 * whole)));
    const double perAmpere = k / (thermalVoltage * whole);
    inputWeight = Float4(static_cast<float>(perAmpere / groundResistance));
    biasDrive = Float4(static_cast<float>(perAmpere) * biasAmperes);
    knee.Set(static_cast<float>(saturationCurrent * perAmpere));
}

} // namespace Velmora::dsp
