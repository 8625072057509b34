// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Biquads.h"
#include "reference/SmootherModel.h"
#include "reference/VocoderParameters.h"

#include <array>

namespace orphia_reference {

/// One band: two cascaded sections, each with a plain gain.
struct BandPlan {
    Shape shape = Shape::BandPass;
    std::array<double, 2> fc{};
    double q = 1.0;
    double stageGain = 1.0;

    BiquadCircuit Stage(std::size_t stage) const;
    Complex Response(double frequencyHz, double sampleRate) const;
};

using BankPlan = std::array<BandPlan, bandCount>;
using BandValues = std::array<double, bandCount>;

/// The fixed plan of the analysis side: a low-pass and fifteen third-octave band-passes.
BankPlan AnalyzerPlan();

/// The plan of the synthesis side; at shift 0 and width 0 it is the analyser's.
BankPlan SynthesizerPlan(double shift, double width);

/// Sixteen independent pairs of biquads.
struct FilterBankModel {
    std::array<std::array<Biquad, 2>, bandCount> sections;
    BankPlan plan;

    /// Replaces the coefficients and keeps the state.
    void Design(const BankPlan& newPlan, double sampleRate);
    double StepBand(std::size_t band, double x);
};

/// The synthesis bank with its own notion of when shift and width take effect.
struct SynthesizerBankModel {
    SynthesizerBankModel(double shift, double width, double sampleRate, double maxBlockSize);

    /// Once per block. The shift smoother moves only on blocks that bring a change or a modulation, one step
    /// each, so a single change gets one step of the way and stays there.
    void UpdateBlock(double shift, double width, bool modulated);
    double Step(const BandValues& bands);

    FilterBankModel bank;
    SmootherModel shiftSmoother;

private:
    double lastShift;
    double lastWidth;
    double rate;
};

} // namespace orphia_reference
