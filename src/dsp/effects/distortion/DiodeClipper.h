// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/distortion/DiodeKnee.h"

namespace Velmora::dsp {

/// A non-inverting op-amp with two silicon diodes, one each way, a resistor and 51 pF in its feedback,
/// and 4.7 kilohms with 47 nF to ground: what lies above 720 Hz is amplified until the diodes conduct, the
/// rest passes. For two channels.
///
/// D. T. Yeh, J. S. Abel, J. O. Smith, "Simplified, physically-informed models of distortion and overdrive
/// guitar effects pedals", DAFx 2007. The voltage across the diodes follows from
///     C dV/dt = i - V / R - 2 I sinh(V / (n Vt)),
/// which is integrated by the backward difference of second order: stable however stiff the diodes make it.
class DiodeClipper {
public:
    using Float4 = simd::Float4;

    static constexpr double lowestResistance = 51e3;
    static constexpr double highestResistance = 551e3;
    static constexpr double groundResistance = 4.7e3;
    static constexpr double groundCapacitance = 47e-9;
    static constexpr double feedbackCapacitance = 51e-12;
    /// Shockley's model of a small signal diode.
    static constexpr double saturationCurrent = 2.52e-9;
    static constexpr double thermalVoltage = 1.752 * 25.85e-3;
    /// The stage before cannot leave its supply.
    static constexpr float supplyVolts = 4.5F;

    /// rate in Hz of the calls of Tick. Afterwards Aim must be called.
    void Prepare(double rate);
    void Reset();
    bool IsSound() const;

    /// The feedback resistor in ohms within its range, and a steady current in amperes into the diodes, which
    /// makes them clip unevenly.
    void Aim(float resistance, float biasAmperes);

    /// The output in volts for the input in volts; lanes 0 and 1 are left and right.
    Float4 Tick(Float4 volts) {
        const Float4 limit(supplyVolts);
        const Float4 in = xsimd::min(xsimd::max(volts, -limit), limit);
        const Float4 half = (in - highPassState) * highPassStep;
        const Float4 aboveGround = in - (half + highPassState);
        highPassState += half + half;

        // What is known before the last voltage is adds up first.
        const Float4 known = lastButOne * lastButOneWeight + (aboveGround * inputWeight + biasDrive);
        lastButOne = last;
        last = knee.Solve(last * lastWeight + known);
        return in + last * static_cast<float>(thermalVoltage);
    }

private:
    double rate = 176400.0;
    DiodeKnee knee;

    Float4 highPassStep = Float4(0.0F);
    Float4 highPassState = Float4(0.0F);

    /// Voltages in units of thermalVoltage, one and two steps ago.
    Float4 last = Float4(0.0F);
    Float4 lastButOne = Float4(0.0F);
    Float4 lastWeight = Float4(0.0F);
    Float4 lastButOneWeight = Float4(0.0F);
    /// Per volt at the ground resistor, and at rest.
    Float4 inputWeight = Float4(0.0F);
    Float4 biasDrive = Float4(0.0F);
};

} // namespace Velmora::dsp
