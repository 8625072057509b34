// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Sections.h"
#include "reference/SmootherModel.h"

#include <vector>

/// The two inputs of the vocoder.
namespace orphia_reference {

/// Overload light of a preamp: the block's peak above the threshold, through a smoother stepped per block.
struct OverloadModel {
    SmootherModel smoother;
    double value = 0.0;

    OverloadModel(double sampleRate, double maxBlockSize) {
        smoother.Prepare(1.0 / 141.0, sampleRate, maxBlockSize);
    }
    void EndBlock(const std::vector<double>& block) {
        double peak = 0.0;
        for (const double x : block) {
            peak = std::max(peak, std::abs(x));
        }
        smoother.SetTarget(peak > 9.3125 ? peak - 9.3125 : 0.0);
        value = std::clamp(smoother.Next(), 0.0, 1.0);
    }
};

inline double GainOf(double decibels) { return std::pow(10.0, decibels * 0.05); }

/// Program preamp: one high-pass with the level on its feed-forward sum, never clipped.
struct PreampModel {
    OverloadModel overload;
    GlideModel level;
    Biquad highPass;

    PreampModel(double sampleRate, double maxBlockSize)
        : overload(sampleRate, maxBlockSize), level(0.1, sampleRate),
          highPass(Biquad::OfQ(Shape::HighPass, 4.8, 0.32, sampleRate)) {}
    void BeginBlock(double levelDb) { level.BeginBlock(GainOf(levelDb)); }
    double Step(double x) { return highPass.Step(x * 2.8, level.Next() * 17.529); }
};

/// Carrier preamp: two first-order high-passes, the second clipped inside its recursion.
struct CarrierPreampModel {
    OverloadModel overload;
    GlideModel level;
    OnePole stage1;
    OnePole stage2;

    CarrierPreampModel(double sampleRate, double maxBlockSize)
        : overload(sampleRate, maxBlockSize), level(0.1, sampleRate),
          stage1(Shape::HighPass, 49.998447, sampleRate), stage2(Shape::HighPass, 54.946457, sampleRate) {}
    void BeginBlock(double levelDb) { level.BeginBlock(GainOf(levelDb)); }
    double Step(double x) {
        stage2.y1 = std::clamp(stage2.Step(stage1.Step(x * 2.8, level.Next()), -10.0), -13.5, 13.5);
        return stage2.y1;
    }
};

/// The high-pass in front of the analysis side.
inline Biquad PreampAnalyzerModel(double sampleRate) {
    constexpr double c = 2.2e-08;
    constexpr double r1 = 20000.0;
    constexpr double r2 = 39000.0;
    return {Shape::HighPass, 1.0 / (std::sqrt(r1 * r2) * c), 1.0 / std::sqrt(r2 / r1), sampleRate};
}

} // namespace orphia_reference
