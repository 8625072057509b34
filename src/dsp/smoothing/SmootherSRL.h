// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/Smoother.h"

namespace Velmora::dsp {

/// A linear ramp: it takes `time` seconds whatever its distance.
class SmootherSRL : public Smoother<float> {
public:
    float Next() override;
    void Prepare() override;

    /// Sets a new target, and the step that reaches it in `time` seconds.
    void Retarget(float v);

    /// Renders count ticks into out.
    void RenderBlock(float* out, u32 count);

    /// Seconds.
    float time = 0.0F;
    /// Samples per tick: 1 when it advances per sample, the block size when per block.
    u32 decimation = 1;
    float sampleRate = 0.0F;
    /// The distance last set.
    float span = 0.0F;
    /// The change per tick.
    float step = 0.0F;
};

} // namespace Velmora::dsp
