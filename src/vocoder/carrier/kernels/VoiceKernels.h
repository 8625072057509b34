// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/oscillators/SteadyPhase.h"
#include "support/platform/Types.h"

#include <vector>

namespace Velmora::Processor {

/// The low-passes of several saws, a lane each; see SawLowPass.
struct alignas(64) LowPassLanes {
    static constexpr u32 width = 32;
    float a1[width];
    float a2[width];
    float a3[width];
    float z1[width];
    float z2[width];
};

/// The hot loops of the carrier's voices for one instruction set. All sets give the same bits: same order of
/// operations, no fused multiply-add. The samples of a voice are 16-byte aligned, frames are a multiple of 4,
/// and buffers have room for PaddedFrames: what lies behind the block may be overwritten.
struct VoiceKernels {
    const char* name;
    /// A band-limited saw that falls, through the post filter.
    void (*renderSaw)(const dsp::SteadyPhase& phase, float* history, float* out, u32 frames);
    /// The post filter of the band-limited waveforms, in place. `history`: its last eight inputs, in front of
    /// which there is room for eight more floats, that wide vectors read and write too.
    void (*postFilter)(float* history, float* samples, u32 frames);
    /// Filters each channel in the lane of its number, in place. At most LowPassLanes::width channels.
    void (*lowPass)(LowPassLanes& lanes, float* const* channels, u32 count, u32 frames);
    /// A sine as waveshaper, in place. Below unity gain it is brought back to full height; above, it folds.
    void (*drive)(float* samples, float gain, u32 frames);
    /// The same with a gain per frame.
    void (*driveMoving)(float* samples, const float* gains, u32 frames);
    /// Adds samples * level * envelope to out, of which nothing behind the block is written.
    void (*add)(const float* samples, float level, float envelope, float* out, u32 frames);
    /// The same, driven as drive does; the samples stay.
    void (*addDriven)(const float* samples, float gain, float level, float envelope, float* out, u32 frames);

    static constexpr u32 PaddedFrames(u32 frames) { return (frames + 15U) & ~15U; }
};

/// The widest set that this processor runs. Chosen once per process.
const VoiceKernels& SelectVoiceKernels();

/// Every set that this processor can run, the baseline first.
std::vector<const VoiceKernels*> AvailableVoiceKernels();

namespace kernels {

// The wider sets, one per source; null where the compiler does not build for that instruction set. None of
// these calls runs a wide instruction.
const VoiceKernels* Avx2Voices();
const VoiceKernels* Avx512Voices();

} // namespace kernels

} // namespace Velmora::Processor
