// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"

namespace Velmora::Processor {

/// The gain at the end of the instrument: a smoothed volume, and a modulation that takes its share away from
/// full volume and adds it back. For one block at a time.
class MasterVolume {
public:
    void Initialize(float sampleRate, u32 maxBlockSize) {
        volume.Prepare(sampleRate, 1);
        modulationGain.Prepare(sampleRate, 1);
        buffers.Allocate(BufferCount, maxBlockSize);
    }
    /// In dB; the gain moves there.
    void SetTarget(float decibels) { volume.SetTarget(dsp::BoundedDecibelsToGain(decibels)); }
    /// In dB; the gain is there at once. `modulation` is the destination's value in the block, null for none.
    void Arrive(float decibels, const float* modulation) {
        volume.Set(dsp::BoundedDecibelsToGain(decibels));
        modulationGain.Set(dsp::BoundedDecibelsToGain(modulation != nullptr ? modulation[0] : 1.0F));
    }
    /// Multiplies left and right. `amount` is the sum of the amounts that reach the destination, `modulation`
    /// its channel, of which the first sample counts, or null.
    void Apply(float amount, const float* modulation, float* left, float* right, u32 frames) {
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

private:
    enum Buffer : u32 { VolumeRamp, ModulationRamp, BufferCount };

    void ApplyModulation(const float* modulation, float* ramp, u32 frames) {
        float* gain = buffers[ModulationRamp];
        modulationGain.SetTarget(modulation[0]);
        modulationGain.RenderBlock(gain, frames);
        for (u32 n = 0; n < frames; ++n) {
            ramp[n] *= dsp::ClampToUnit(gain[n] + modulationOffset);
        }
    }

    dsp::SmootherLPF volume{0.1};
    dsp::SmootherLPF modulationGain{0.005};
    float modulationAmount = 0.0F;
    /// What the modulation leaves of full volume.
    float modulationOffset = 1.0F;
    bool isModulated = false;
    dsp::BlockPool buffers;
};

} // namespace Velmora::Processor
