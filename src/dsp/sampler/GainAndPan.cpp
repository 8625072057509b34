// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/GainAndPan.h"

#include "dsp/vectors/Simd.h"

#include <algorithm>

namespace Velmora::dsp {

using simd::Float4;

void GainAndPan::Initialize(float sampleRate, u32 maxBlockSize, float lowest) {
    blockSize = RoundUpToFour(maxBlockSize);
    lowestVolume = static_cast<double>(lowest);
    ramps.Allocate(RampCount, blockSize);
    for (SmootherLPF* smoother : {&gain, &pan, &volume}) {
        smoother->Prepare(sampleRate, 1);
    }
}

void GainAndPan::Set(float gainFactor, float panPosition, float volumeFactor) {
    gain.Set(gainFactor);
    pan.Set(panPosition);
    volume.Set(volumeFactor);
}

void GainAndPan::RenderRamps(float volumeFactor, u32 frames) {
    // Gain and pan move by the longest block in each block, however short it is. Of a value at rest no more
    // is needed than what is read.
    gain.RenderBlock(ramps[GainRamp], gain.IsAtTarget() ? frames : blockSize);
    pan.RenderBlock(ramps[PanRamp], pan.IsAtTarget() ? frames : blockSize);
    const double previous = volume.current;
    volume.SetTarget(volumeFactor);
    volume.RenderBlock(ramps[VolumeRamp], frames);
    if (volume.IsAtTarget() && previous == lowestVolume) {
        std::fill_n(ramps[VolumeRamp], frames, 0.0F);
    }
}

void GainAndPan::MixMono(const float* left, const float* right, float* out, u32 frames) {
    for (u32 n = 0; n < frames; n += Float4::size) {
        const Float4 sum = Float4::load_aligned(left + n) + Float4::load_aligned(right + n);
        const Float4 factor =
            Float4::load_aligned(ramps[GainRamp] + n) * Float4::load_aligned(ramps[VolumeRamp] + n);
        (sum * 0.5F * factor).store_unaligned(out + n);
    }
}

void GainAndPan::MixSide(const float* in, u32 side, float* out, u32 frames) {
    for (u32 n = 0; n < frames; n += Float4::size) {
        const Float4 position = Float4::load_aligned(ramps[PanRamp] + n);
        const Float4 share = 2.0F * (side == 0 ? 1.0F - position : position);
        const Float4 factor =
            Float4::load_aligned(ramps[VolumeRamp] + n) * Float4::load_aligned(ramps[GainRamp] + n) * share;
        (Float4::load_aligned(in + n) * factor).store_unaligned(out + n);
    }
}

} // namespace Velmora::dsp
