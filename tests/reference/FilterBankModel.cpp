// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/FilterBankModel.h"

#include <cmath>

namespace orphia_reference {

namespace {

constexpr double thirdOctave = 1.2599211;
constexpr double bandStageGain = -1.7857;

/// Bands 2 to 16 from the lower edge of band 2, with the two stages a factor `spread` below and above the
/// geometric centre.
void FillBandPasses(BankPlan& plan, double lowestEdge, double spread) {
    const double q = 1.4 / (spread - 1.0 / spread);
    for (std::size_t band = 1; band < plan.size(); ++band) {
        const double lower = lowestEdge * std::pow(thirdOctave, static_cast<double>(band) - 1.0);
        const double centre = lower * std::sqrt(thirdOctave);
        plan[band] = {Shape::BandPass, {centre / spread, centre * spread}, q, bandStageGain};
    }
}

} // namespace

BiquadCircuit BandPlan::Stage(std::size_t stage) const {
    return BiquadCircuit::FromFcAndQ(shape, fc[stage], q);
}

Complex BandPlan::Response(double frequencyHz, double sampleRate) const {
    return stageGain * stageGain * Stage(0).Response(frequencyHz, sampleRate) *
           Stage(1).Response(frequencyHz, sampleRate);
}

BankPlan AnalyzerPlan() {
    BankPlan plan;
    plan[0] = {Shape::LowPass, {191.56938, 191.56938}, 0.7416, 1.0};
    FillBandPasses(plan, 159.0, std::pow(thirdOctave, 0.4));
    return plan;
}

BankPlan SynthesizerPlan(double shift, double width) {
    BankPlan plan;
    const double lowestEdge = shift * 69.0 + 159.0;
    const double corner = lowestEdge * std::sqrt(thirdOctave) * 1.0733894;
    plan[0] = {Shape::LowPass, {corner, corner}, 0.7416, 1.0};
    FillBandPasses(plan, lowestEdge, std::pow(thirdOctave, 0.4) * (width * 0.07 + 1.0));
    return plan;
}

void FilterBankModel::Design(const BankPlan& newPlan, double sampleRate) {
    plan = newPlan;
    for (std::size_t band = 0; band < sections.size(); ++band) {
        for (std::size_t stage = 0; stage < 2; ++stage) {
            sections[band][stage].Design(plan[band].Stage(stage), sampleRate);
        }
    }
}

double FilterBankModel::StepBand(std::size_t band, double x) {
    const double gain = plan[band].stageGain;
    return sections[band][1].Step(sections[band][0].Step(x, gain), gain);
}

SynthesizerBankModel::SynthesizerBankModel(double shift, double width, double sampleRate, double maxBlockSize)
    : lastShift(shift), lastWidth(width), rate(sampleRate) {
    shiftSmoother.Prepare(0.015, sampleRate, maxBlockSize);
    shiftSmoother.Set(shift);
    bank.Design(SynthesizerPlan(shift, width), sampleRate);
}

void SynthesizerBankModel::UpdateBlock(double shift, double width, bool modulated) {
    if (shift == lastShift && width == lastWidth && !modulated) {
        return;
    }
    lastShift = shift;
    lastWidth = width;
    shiftSmoother.SetTarget(shift);
    bank.Design(SynthesizerPlan(shiftSmoother.Next(), width), rate);
}

double SynthesizerBankModel::Step(const BandValues& bands) {
    double sum = 0.0;
    for (std::size_t band = 0; band < bands.size(); ++band) {
        sum += bank.StepBand(band, bands[band]);
    }
    return sum;
}

} // namespace orphia_reference
