// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"
#include "vocoder/carrier/kernels/VoiceKernels.h"

#include <span>

namespace Velmora::Processor {

/// The two-pole low-pass behind the saw of a voice, in trapezoidal form (A. Simper, "Linear trapezoidal
/// integrated SVF"). Each sample waits for the one before it, so one filter leaves the processor idle most of
/// the time; those of several voices run in the lanes of vectors, which takes hardly longer than one.
class SawLowPass {
public:
    /// A filter and its samples, 16-byte aligned, filtered in place.
    struct Job {
        SawLowPass* filter;
        float* samples;
    };
    /// The most jobs of one call.
    static constexpr u32 mostJobs = LowPassLanes::width;

    /// Forgets the cutoff.
    void Prepare(float rate);
    void Reset();
    void SetCutoff(float hz);

    /// Runs each job over the same frames, a multiple of 4. The sound of one does not depend on the others.
    static void Run(std::span<const Job> jobs, u32 frames);

private:
    void Keep(float z1, float z2);

    float sampleRate = 44100.0F;
    float cutoff = -1.0F;
    float a1 = 0.0F;
    float a2 = 0.0F;
    float a3 = 0.0F;
    float s1 = 0.0F;
    float s2 = 0.0F;
};

} // namespace Velmora::Processor
