// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <array>

namespace Velmora::dsp {

/// Delays in whole samples that change as on a tape machine: each runs to its new place at a bounded speed,
/// which is how far the pitch goes off, and starts and stops softly. One step per quad of frames; through the
/// quad a delay goes in a straight line.
class DelayGlide {
public:
    using Float4 = simd::Float4;
    static constexpr u32 count = 24;

    void Prepare(float sampleRate);
    /// In samples per sample, below 1.
    void SetFastest(u32 index, float speed) { steps[index] = speed * static_cast<float>(Float4::size); }
    void GlideTo(u32 index, u32 samples);
    /// Arrives at once.
    void Arrive();
    void Step();
    bool IsGliding() const { return gliding; }

    /// Where the delay rests, if it does.
    u32 Goal(u32 index) const { return goals[index]; }
    float Start(u32 index) const { return starts[index]; }
    float End(u32 index) const { return ends[index]; }

    /// One delay in each frame of the quad.
    Float4 Over(u32 index) const {
        const Float4 quarters{0.25F, 0.5F, 0.75F, 1.0F};
        return starts[index] + (ends[index] - starts[index]) * quarters;
    }

private:
    using Lanes = std::array<float, count>;

    bool StepQuad(u32 first);

    std::array<u32, count> goals{};
    /// The goals as numbers; what runs there at a bounded speed; how far what follows that softly is behind.
    /// A lag that decays comes to an end, where a long delay would be too coarse a number to move on.
    alignas(16) Lanes targets{};
    alignas(16) Lanes runners{};
    alignas(16) Lanes lags{};
    alignas(16) Lanes starts{};
    alignas(16) Lanes ends{};
    /// The longest of a runner, per quad.
    alignas(16) Lanes steps{};
    /// What is left of a lag after a quad.
    float decay = 0.0F;
    bool gliding = false;
};

} // namespace Velmora::dsp
