// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/instrument/MasterVolume.h"

#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"

namespace Velmora::Processor {

void MasterVolume::Initialize(float sampleRate, u32 maxBlockSize) {
    volume.Prepare(sampleRate, 1);
    modulationGain.Prepare(sampleRate, 1);
    buffers.Allocate(BufferCount, maxBlockSize);
}

void MasterVolume::SetTarget(float decibels) { volume.SetTarget(dsp::BoundedDecibelsToGain(decibels)); }

void MasterVolume::Jump(float decibels, const float* modulation) {
    volume.Set(dsp::BoundedDecibelsToGain(decibels));
    modulationGain.Set(dsp::BoundedDecibelsToGain(modulation != nullptr ? modulation[0] : 1.0F));
}

void MasterVolume::Apply(float amount, const float* modulation, float* left, float* right, u32 frames) {
    if (amount != modulationAmount) {
        modulationAmount = amount;
        isModulated = amount != 0.0F;
        modulationOffset = dsp::ClampToUnit(1.0F - amount);
    }
    float* ramp = buffers[VolumeRamp];
    volume.RenderBlock(ramp, frames);
    if (isModulated && modulation != nullptr) {
        ApplyModulation(modulation, ramp, frames);
    }
    for (u32 n = 0; n < frames; ++n) {
        left[n] *= ramp[n];
        right[n] *= ramp[n];
    }
}

void MasterVolume::ApplyModulation(const float* modulation, float* ramp, u32 frames) {
    float* gain = buffers[ModulationRamp];
    modulationGain.SetTarget(modulation[0]);
    modulationGain.RenderBlock(gain, frames);
    for (u32 n = 0; n < frames; ++n) {
        ramp[n] *= dsp::ClampToUnit(gain[n] + modulationOffset);
    }
}

} // namespace Velmora::Processor
