// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Biquads.h"

namespace orphia_reference {

/// One band's amplifier. The saturation sits on the buses, the controls act after it.
struct VcaModel {
    double polarity = 1.0;

    double Step(double carrier, double noise, double firstControl, double secondControl) const;

    static double Saturation(double v);
    /// -1 for bands 1, 3, ... and +1 for bands 2, 4, ...; `band` counts from 0.
    static double PolarityOfBand(int band);
};

/// The slow gate: a current set by the control, two one-pole filters that act as one state with two time
/// constants, and a soft limiter on the signal.
struct GateModel {
    GateModel(double pot, double preGain, double postGain, double sampleRate);
    void SetCorners(double attackHz, double releaseHz);
    double Step(double signal, double control);

    double gate = 0.0; ///< current through the gate after the last sample

    static double Current(double control);
    static double Limiter(double v);

    /// Gates of the carrier and the noise, and the gate of the high-frequency path.
    static GateModel ForBus(double sampleRate);
    static GateModel ForHfChannel(double sampleRate);

private:
    double inputGain;
    double outputGain;
    double rate;
    OnePole attack;
    OnePole release;
};

} // namespace orphia_reference
