// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/RectifierModel.h"

namespace orphia_reference {

/// The voiced/unvoiced comparator: energy above against energy below about 1.85 kHz.
struct DiscriminatorModel {
    DiscriminatorModel(double sampleRate);

    /// Once per block: the trimmer.
    void BeginBlock(double trimmer);

    /// The hiss control: +15 voiced, -15 unvoiced. The buzz control is its negation.
    double Step(double x);

private:
    Biquad highPass;
    Biquad lowPass;
    HissBuzzFollowerModel highFollower;
    HissBuzzFollowerModel lowFollower;
    double trim = 0.0;
};

/// Mixes the gated carrier and the gated noise onto the two buses.
struct BalanceModel {
    struct Buses {
        double carrier;
        double noise;
    };

    BalanceModel(double sampleRate);
    void BeginBlock(double balance, bool noiseMix);
    Buses Step(double carrier, double noise);

private:
    OnePole carrierHighPass;
    OnePole noiseHighPass;
    SmootherModel smoother;
    bool mixed = true;
    bool first = true;
};

} // namespace orphia_reference
