// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Biquads.h"
#include "reference/SmootherModel.h"

namespace orphia_reference {

/// Component values of a band's rectifier and smoothing filter.
struct RectifierCircuit {
    double gainPositive;
    double gainNegative;
    double biasScale;
    double currentToVoltage;
    OnePoleCircuit onePole;
    BiquadCircuit biquad;

    static RectifierCircuit LowestBand();
    static RectifierCircuit OtherBands();

    /// Closed form of the filters' output for a steady input: |x| times the half's gain less the dead zone.
    double SteadyVolts(double x) const;
};

/// Band follower: rectifier, filters, scale and clip, attack and release.
struct RectifierFollowerModel {
    struct Output {
        double envelope; ///< after attack and release
        double direct;   ///< before it
    };

    RectifierFollowerModel(const RectifierCircuit& parts, double sampleRate);
    void SetTimes(double attackSeconds, double releaseSeconds);
    Output Step(double x);

    RectifierCircuit circuit;
    AttackReleaseModel follower;

private:
    OnePole onePole;
    Biquad biquad;
    double rate;
};

/// The discriminator's follower: no dead zone, no clip, no attack and release.
struct HissBuzzFollowerModel {
    HissBuzzFollowerModel(double sampleRate);
    double Step(double x);

private:
    OnePole onePole;
    Biquad biquad;
};

} // namespace orphia_reference
