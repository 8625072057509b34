// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "support/platform/Types.h"

namespace Velmora::dsp {

/// Gain, pan and volume of a sampler, smoothed, and the way from its two channels to the outputs.
class GainAndPan {
public:
    /// The rate in Hz. A volume that rests at the lowest one, a factor, is silence.
    void Initialize(float sampleRate, u32 maxBlockSize, float lowest);
    /// Jumps to factors for gain and volume and a pan from 0, left, to 1.
    void Set(float gainFactor, float panPosition, float volumeFactor);
    void SetGain(float factor) { gain.SetTarget(factor); }
    void SetPan(float position) { pan.SetTarget(position); }

    /// Prepares a block, a multiple of 4 frames.
    void RenderRamps(float volumeFactor, u32 frames);
    /// The half sum, without pan. left and right are 16-byte aligned.
    void MixMono(const float* left, const float* right, float* out, u32 frames);
    /// One side, 0 left or 1 right; half way both sides are at unity.
    void MixSide(const float* in, u32 side, float* out, u32 frames);

private:
    enum Ramp : u32 { GainRamp, PanRamp, VolumeRamp, RampCount };

    u32 blockSize = 0;
    double lowestVolume = 0.0;
    SmootherLPF gain{0.1};
    SmootherLPF pan{0.1};
    SmootherLPF volume{0.01};
    BlockPool ramps;
};

} // namespace Velmora::dsp
