// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Biquads.h"
#include "reference/SmootherModel.h"

#include <vector>

namespace orphia_reference {

/// Overload light of a preamp: the block's peak above the threshold, through a smoother stepped per block.
struct OverloadModel {
    OverloadModel(double sampleRate, double maxBlockSize);
    void EndBlock(const std::vector<double>& block);

    double value = 0.0;

private:
    SmootherModel smoother;
};

/// Level control of a preamp: snapped on the first block, then approached sample by sample.
struct LevelModel {
    explicit LevelModel(double sampleRate);
    void BeginBlock(double levelDb);
    double Next() { return smoother.Next(); }

private:
    SmootherModel smoother;
    bool first = true;
};

/// Program preamp: one high-pass with the level on its feed-forward sum, never clipped.
struct PreampModel {
    PreampModel(double sampleRate, double maxBlockSize, CoefficientMath math);
    void BeginBlock(double levelDb) { level.BeginBlock(levelDb); }
    double Step(double x);

    OverloadModel overload;
    static Complex Response(double levelDb, double frequencyHz, double sampleRate);

private:
    Biquad highPass;
    LevelModel level;
};

/// Carrier preamp: two first-order high-passes, the second clipped inside its recursion.
struct CarrierPreampModel {
    CarrierPreampModel(double sampleRate, double maxBlockSize, CoefficientMath math);
    void BeginBlock(double levelDb) { level.BeginBlock(levelDb); }
    double Step(double x);

    OverloadModel overload;
    /// For a signal that does not reach the clip.
    static Complex Response(double levelDb, double frequencyHz, double sampleRate);

private:
    OnePole stage1;
    OnePole stage2;
    LevelModel level;
};

/// The high-pass in front of the analysis side.
struct PreampAnalyzerModel {
    PreampAnalyzerModel(double sampleRate, CoefficientMath math);
    double Step(double x) { return highPass.Step(x); }

    static Complex Response(double frequencyHz, double sampleRate);

private:
    Biquad highPass;
};

/// 10^(dB / 20).
double GainFromDb(double db);

} // namespace orphia_reference
