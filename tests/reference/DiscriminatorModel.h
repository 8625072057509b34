// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/RectifierModel.h"
#include "reference/VocoderParameters.h"

namespace orphia_reference {

/// The voiced/unvoiced comparator: energy above against energy below about 1.85 kHz.
struct DiscriminatorModel {
    DiscriminatorModel(double sampleRate, CoefficientMath math);

    /// Once per block: corners and trimmer.
    void BeginBlock(const DiscriminatorSettings& settings);

    /// The hiss control: +15 voiced, -15 unvoiced. The buzz control is its negation.
    double Step(double x);

    double highEnvelope = 0.0;
    double lowEnvelope = 0.0;
    double difference = 0.0; ///< low + trim - high of the last sample
    /// The closest that a decision has come to going the other way; a comparison with another
    /// implementation is only sharp while this stays well above the other's rounding noise.
    double smallestMargin = 1e9;

    static double Trim(double trimmer);
    /// Band signals before the followers, per unit of input.
    static Complex HighBandResponse(const DiscriminatorSettings&, double frequencyHz, double sampleRate);
    static Complex LowBandResponse(const DiscriminatorSettings&, double frequencyHz, double sampleRate);

private:
    Biquad highPass;
    Biquad lowPass;
    HissBuzzFollowerModel highFollower;
    HissBuzzFollowerModel lowFollower;
    double trim = 0.0;
    double rate;
    CoefficientMath coefficientMath;
};

/// Mixes the gated carrier and the gated noise onto the two buses.
struct BalanceModel {
    struct Buses {
        double carrier;
        double noise;
    };

    BalanceModel(double sampleRate, CoefficientMath math);
    void BeginBlock(double balance, bool noiseMix);
    Buses Step(double carrier, double noise);

    /// The high-pass of either path, without the balance factor.
    static Complex Response(double frequencyHz, double sampleRate);

private:
    OnePole carrierHighPass;
    OnePole noiseHighPass;
    SmootherModel smoother;
    bool mixed = true;
    bool first = true;
};

} // namespace orphia_reference
