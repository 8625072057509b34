// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/bitcrusher/Quantiser.h"
#include "dsp/oscillators/BandLimitedStep.h"
#include "dsp/vectors/Simd.h"

#include <array>

namespace Velmora::dsp {

/// What a hold does in a quad of frames.
struct HoldMotion {
    /// Holds per frame, at most 1.
    float rate = 1.0F;
    /// 0..1: the largest departure of a hold's length from the mean, as a share of it.
    float jitter = 0.0F;
    /// 0..1: the share of each step that is spread over its hold as a ramp.
    float slope = 0.0F;
};

/// Samples one channel with a clock of its own, and holds each sample, once converted, until the next.
/// Samples are taken between the frames, by interpolation, and the steps of the hold lie between the frames,
/// too, as band-limited steps of 16 frames.
class SampleHold {
public:
    using Float4 = simd::Float4;

    /// Frames from a sample at the input to its step at the output.
    static constexpr u32 latency = 16;

    struct Output {
        Float4 sound;
        /// What conversion added, without band limit.
        Float4 error;
    };

    SampleHold();

    void Reset();
    /// Runs in step with another channel from now on, as long as their rates agree.
    void Follow(const SampleHold& other) {
        phase = other.phase;
        random = other.random;
        pace = other.pace;
    }

    /// Takes four frames in.
    void Push(Float4 frames);
    /// The four frames that are latency frames old, not held.
    Float4 Late() const { return Float4::load_aligned(past.data()); }
    /// Runs the clock through the four frames taken in last.
    Output Hold(const HoldMotion& motion, Quantiser& quantiser);
    /// Forgets what is under way, for the time when nothing is held.
    void Rest();

private:
    static constexpr u32 width = BandLimitedStep::width;

    void Sample(u32 frame, float late, const HoldMotion& motion, Quantiser& quantiser);
    float NextPace(float jitter);

    const BandLimitedStep& table;
    /// The frames taken in last, behind the 16 before them.
    alignas(16) std::array<float, width + 4> past{};
    /// What the band limit adds to coming frames.
    alignas(16) std::array<float, width + 4> residual{};
    /// Of the plain steps and the errors, two quads late as the steps in the residual.
    std::array<Output, 2> plain{};
    float phase = 0.0F;
    /// Of the present hold, as a factor of the rate.
    float pace = 1.0F;
    u32 random = 1;
    float held = 0.0F;
    float heldError = 0.0F;
    /// From the value before to the one held.
    float step = 0.0F;
};

} // namespace Velmora::dsp
