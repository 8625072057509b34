// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/SmootherLPF.h"

namespace Velmora::Processor {

/// Turns one analysis band into a control signal: full-wave rectifier, one-pole and biquad low-pass as the
/// circuit has them, clip at 0, attack and release. 1 input; output 0 is the smoothed envelope, output 1
/// the rectified and filtered signal before attack and release. Inside AnalyzerRectifiers sixteen of these
/// run in lanes.
class RectifierFollower final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 2;
    enum Parameter : u32 { Attack = 0, Release = 1 };
    enum CircuitType { LowestBand = 1, OtherBand = 2 };

    /// The filters of a circuit type at one rate.
    struct Circuit {
        /// Conversion of the rectifier for inputs above 0, and at or below 0.
        float rectGainPositive;
        float rectGainNegative;
        double biasScale;
        double currentToVoltage;
        /// One-pole; b1 equals b0.
        double poleB0;
        double poleA1;
        dsp::BiquadSection biquad;

        Circuit(CircuitType type, double sampleRate);
        /// What the bias adds to the one-pole's input.
        double Bias() const;
    };

    /// "Attack" and "Release", in seconds; the 1/e times of the envelope.
    static std::vector<dsp::ModuleParam> DeclareTimes();
    /// Time of a smoother for a parameter in seconds.
    static double SmootherTime(float seconds);

    RectifierFollower(std::string moduleName, CircuitType circuitType);

    CircuitType Type() const { return type; }

    /// SetParameterValue of both times; costs two comparisons while they are what they were.
    void SetTimes(float attackSeconds, float releaseSeconds);

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// The first smoothed sample of the last block.
    float meterValue = 0.0F;

    /// Circuit scale: volts to the control range of the amplifiers.
    static constexpr double controlScale = 0.0001327;

private:
    float Smooth(float v);
    void Heal();

    CircuitType type;
    Circuit circuit;
    double rectified1 = 0.0;
    double pole1 = 0.0;
    dsp::SmootherLPF attackSmoother{0.005};
    dsp::SmootherLPF releaseSmoother{0.75};
    float envelope = 0.0F;
};

} // namespace Velmora::Processor
