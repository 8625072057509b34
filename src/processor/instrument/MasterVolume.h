// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"

namespace Velmora::Processor {

/// The gain at the end of the instrument: a smoothed volume, and a modulation that takes its share away from
/// full volume and adds it back. For one block at a time.
class MasterVolume {
public:
    void Initialize(float sampleRate, u32 maxBlockSize);
    /// In dB; the gain moves there.
    void SetTarget(float decibels);
    /// In dB; the gain is there at once. `modulation` is the destination's value in the block, null for none.
    void Jump(float decibels, const float* modulation);
    /// Multiplies left and right. `amount` is the sum of the amounts that reach the destination, `modulation`
    /// its channel, of which the first sample counts, or null.
    void Apply(float amount, const float* modulation, float* left, float* right, u32 frames);

private:
    enum Buffer : u32 { VolumeRamp, ModulationRamp, BufferCount };

    void ApplyModulation(const float* modulation, float* ramp, u32 frames);

    dsp::SmootherLPF volume{0.1};
    dsp::SmootherLPF modulationGain{0.005};
    float modulationAmount = 0.0F;
    /// What the modulation leaves of full volume.
    float modulationOffset = 1.0F;
    bool isModulated = false;
    dsp::BlockPool buffers;
};

} // namespace Velmora::Processor
