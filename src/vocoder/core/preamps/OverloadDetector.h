// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/SmootherLPF.h"
#include "support/platform/Types.h"

namespace Velmora::Processor {

/// The overload light of a preamp: how far the block's peak stands above the threshold in volts, smoothed
/// once per block. There is no hold time, so the light falls as fast as the smoother lets it.
class OverloadDetector {
public:
    /// sampleRate in Hz; maxBlockSize is the length of one step of the smoother in samples.
    void Initialize(float sampleRate, u32 maxBlockSize);
    void Reset();

    /// Looks at a block of numFrames samples, a multiple of 4.
    void Update(const float* block, u32 numFrames);

    dsp::SmootherLPF overloadSmoother{1.0 / 141.0};
    /// 0 (dark) to 1, reached at one volt above the threshold.
    float overloadValue = 0.0F;
};

} // namespace Velmora::Processor
