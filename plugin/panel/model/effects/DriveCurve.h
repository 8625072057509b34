// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia::panel {

/// What the clipping stage of the overdrive makes of a voltage in the midrange: a non-inverting amplifier
/// with two diodes, one each way, beside the resistor of its feedback.
class DriveCurve {
public:
    static constexpr double groundOhms = 4.7e3;
    static constexpr double leastOhms = 51e3;
    static constexpr double mostOhms = 551e3;
    static constexpr double saturationAmperes = 2.52e-9;
    static constexpr double thermalVolts = 1.752 * 25.85e-3;
    static constexpr double fullBiasAmperes = 20e-6;
    static constexpr double voltsAtFullScale = 0.2;
    static constexpr double supplyVolts = 4.5;

    /// Gains in dB of the stage and in front of it; a bias of -1 to 1.
    DriveCurve(double driveDb, double inputDb, double bias);

    /// Volts behind the stage, 0 for 0, for a sample of -1 to 1.
    double operator()(double sample) const { return Stage(sample) - rest; }

private:
    double Stage(double sample) const;

    double resistance;
    double volts;
    double biasAmperes;
    double rest = 0.0;
};

} // namespace orphia::panel
