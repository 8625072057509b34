// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"
#include "vocoder/core/kernels/BiquadLanes.h"

namespace Velmora::Processor {

/// Frequencies of the sixteen bands: band 1 is a low-pass, bands 2 to 16 are band-passes a third of an
/// octave wide, each of two stages staggered around the band's geometric centre.
struct BandPlan {
    /// Lower edge of band 2 in Hz, in the neutral setting.
    static constexpr float lowestEdge = 159.0F;
    static constexpr float lowPassQ = 0.7416F;
    static constexpr float lowPassGain = 1.0F;
    /// Of each stage; the two factors multiply to +3.18872.
    static constexpr float bandPassGain = -1.7857F;

    /// Corner of both stages of band 1, Hz.
    float lowPassHz;
    /// Stage frequencies in Hz; index 0 is band 2.
    float stage1Hz[bandCount - 1];
    float stage2Hz[bandCount - 1];
    float bandPassQ;

    /// lowerEdge in Hz moves the whole plan; width, -1 to 1, spreads the two stages of each band by up to 7
    /// %.
    BandPlan(float lowerEdge, float width);
};

} // namespace Velmora::Processor
