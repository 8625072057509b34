// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Sections.h"

/// The two inputs of the vocoder.
namespace orphia_reference {

/// A preamp's level, which glides, and its overload light: the block's peak above the threshold, through a
/// smoother stepped per block.
struct PreampModel {
    SmootherModel level, overload;
    double peak = 0.0;

    PreampModel(double rate, double maxBlock) : level(0.1, rate), overload(1.0 / 141.0, rate / maxBlock) {}
    void BeginBlock(double levelDb) {
        level.Approach(std::pow(10.0, levelDb * 0.05));
        peak = 0.0;
    }
    double Watched(double y) {
        peak = std::max(peak, std::abs(y));
        return y;
    }
    double EndBlock() {
        overload.target = std::max(peak - 9.3125, 0.0);
        return std::clamp(overload.Next(), 0.0, 1.0);
    }
};

/// One high-pass with the level on its feed-forward sum, never clipped.
struct ProgramPreampModel : PreampModel {
    Biquad highPass;

    ProgramPreampModel(double rate, double maxBlock)
        : PreampModel(rate, maxBlock), highPass(Biquad::OfQ(Shape::HighPass, 4.8, 0.32, rate)) {}
    double Step(double x) { return Watched(highPass.Step(x * 2.8, level.Next() * 17.529)); }
};

/// Two first-order high-passes, the second clipped inside its recursion.
struct CarrierPreampModel : PreampModel {
    OnePole stage1, stage2;

    CarrierPreampModel(double rate, double maxBlock)
        : PreampModel(rate, maxBlock), stage1(Shape::HighPass, 49.998447 / rate),
          stage2(Shape::HighPass, 54.946457 / rate) {}
    double Step(double x) {
        stage2.y[0] = std::clamp(stage2.Step(stage1.Step(x * 2.8, level.Next()), -10.0), -13.5, 13.5);
        return Watched(stage2.y[0]);
    }
};

/// The high-pass in front of the analysis side.
inline Biquad PreampAnalyzerModel(double sampleRate) {
    constexpr double c = 2.2e-08, r1 = 20000.0, r2 = 39000.0;
    return {Shape::HighPass, 0.5 / (std::sqrt(r1 * r2) * c * sampleRate), 1.0 / std::sqrt(r2 / r1)};
}

} // namespace orphia_reference
