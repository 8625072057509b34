// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/PreampModel.h"

#include <algorithm>
#include <cmath>

namespace orphia_reference {

namespace {

constexpr double inputScale = 2.8;
constexpr double programStageGain = 17.529;
constexpr double carrierStageGain = -10.0;
constexpr double carrierClip = 13.5;
constexpr double overloadThreshold = 9.3125;

const BiquadCircuit programHighPass = BiquadCircuit::FromFcAndQ(Shape::HighPass, 4.8, 0.32);
const OnePoleCircuit carrierStage1{Shape::HighPass, 49.998447};
const OnePoleCircuit carrierStage2{Shape::HighPass, 54.946457};

BiquadCircuit AnalyzerHighPass() {
    constexpr double c = 2.2e-08;
    constexpr double r1 = 20000.0;
    constexpr double r2 = 39000.0;
    return {Shape::HighPass, 1.0 / (std::sqrt(r1 * r2) * c), 1.0 / std::sqrt(r2 / r1)};
}

} // namespace

OverloadModel::OverloadModel(double sampleRate, double maxBlockSize) {
    smoother.Prepare(1.0 / 141.0, sampleRate, maxBlockSize);
}

void OverloadModel::EndBlock(const std::vector<double>& block) {
    double peak = 0.0;
    for (const double x : block) {
        peak = std::max(peak, std::abs(x));
    }
    smoother.SetTarget(peak > overloadThreshold ? peak - overloadThreshold : 0.0);
    value = std::clamp(smoother.Next(), 0.0, 1.0);
}

LevelModel::LevelModel(double sampleRate) { smoother.Prepare(0.1, sampleRate); }

void LevelModel::BeginBlock(double levelDb) {
    const double gain = std::pow(10.0, levelDb * 0.05);
    if (first) {
        smoother.Set(gain);
        first = false;
    }
    smoother.SetTarget(gain);
}

PreampModel::PreampModel(double sampleRate, double maxBlockSize)
    : overload(sampleRate, maxBlockSize), level(sampleRate) {
    highPass.Design(programHighPass, sampleRate);
}

double PreampModel::Step(double x) { return highPass.Step(x * inputScale, level.Next() * programStageGain); }

CarrierPreampModel::CarrierPreampModel(double sampleRate, double maxBlockSize)
    : overload(sampleRate, maxBlockSize), level(sampleRate) {
    stage1.Design(carrierStage1, sampleRate);
    stage2.Design(carrierStage2, sampleRate);
}

double CarrierPreampModel::Step(double x) {
    const double y = stage1.Step(x * inputScale, level.Next());
    stage2.y1 = std::clamp(stage2.Step(y, carrierStageGain), -carrierClip, carrierClip);
    return stage2.y1;
}

PreampAnalyzerModel::PreampAnalyzerModel(double sampleRate) {
    highPass.Design(AnalyzerHighPass(), sampleRate);
}

} // namespace orphia_reference
