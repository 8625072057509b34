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
    PreampModel(double sampleRate, double maxBlockSize);
    void BeginBlock(double levelDb) { level.BeginBlock(levelDb); }
    double Step(double x);

    OverloadModel overload;

private:
    Biquad highPass;
    LevelModel level;
};

/// Carrier preamp: two first-order high-passes, the second clipped inside its recursion.
struct CarrierPreampModel {
    CarrierPreampModel(double sampleRate, double maxBlockSize);
    void BeginBlock(double levelDb) { level.BeginBlock(levelDb); }
    double Step(double x);

    OverloadModel overload;

private:
    OnePole stage1;
    OnePole stage2;
    LevelModel level;
};

/// The high-pass in front of the analysis side.
struct PreampAnalyzerModel {
    PreampAnalyzerModel(double sampleRate);
    double Step(double x) { return highPass.Step(x); }

private:
    Biquad highPass;
};

} // namespace orphia_reference
