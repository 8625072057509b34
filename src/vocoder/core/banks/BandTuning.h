// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "vocoder/core/kernels/BandLanes.h"

namespace Velmora::Processor {

struct BandPlan;

/// The coefficients of all stages of a band plan, for one that moves: the same formulas as for a single stage
/// (ParallelCascadedBiquads), but sixteen corners side by side and without a call of the mathematical
/// library. Sine and cosine are right to the last bits of double precision, so that the coefficients come out
/// alike.
struct BandTuning {
    /// Numerator before the gain of the stage; b2 is b0 of the low-pass and -b0 of a band-pass.
    double b0[stageCount][bandCount];
    double b1[stageCount][bandCount];
    double b2[stageCount][bandCount];
    /// As in BiquadLanes.
    float pull[stageCount][bandCount];
    float carry[stageCount][bandCount];

    /// lowPassQ: of the two stages of band 1. False, and nothing changes, for a plan of which something is
    /// not a number or a quality not above 0.
    bool Follow(const BandPlan& plan, const float (&lowPassQ)[stageCount], float sampleRate);

private:
    void TuneStage(u32 stage, const double (&hz)[bandCount], const double (&q)[bandCount], double sampleRate);
};

} // namespace Velmora::Processor
