// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/lfo/ChorusLfo.h"

#include <array>

namespace Velmora::dsp {

/// How an effect is swept.
struct SweepLfoSettings {
    /// The ramps go up and down; sample and hold draws one value a cycle, Random glides from one to the next;
    /// Pattern plays the steps, all of them in a cycle.
    enum Shape : u32 { Sine, Triangle, RampUp, RampDown, Square, SampleAndHold, Random, Pattern };
    static constexpr u32 shapeCount = 8;
    static constexpr u32 mostSteps = 8;
    static constexpr float fastestHz = 20.0F;
    static constexpr float longestGlideMs = 500.0F;

    u32 shape = Sine;
    /// 0 to fastestHz.
    float rateHz = 0.0F;
    /// In cycles: where a cycle begins, and how far the right channel is ahead of the left.
    float phase = 0.0F;
    float stereoPhase = 0.0F;
    /// Time constant that rounds off all jumps; a short one always acts.
    float glideMs = 0.0F;
    /// 1 to mostSteps.
    u32 stepCount = mostSteps;
    std::array<float, mostSteps> steps{};

    bool operator==(const SweepLfoSettings&) const = default;
};

/// The low-frequency oscillator of an effect that is swept: two channels of -1..1, one value a quad of
/// frames. Nothing in it depends on chance; a song position gives the same value each time.
class SweepLfo {
public:
    using Float4 = simd::Float4;

    void Prepare(float rate);
    /// The cycle begins anew, and the next Advance jumps to its value.
    void Reset();
    void Set(const SweepLfoSettings& newSettings);
    /// In time with a song that plays, a cycle begins wherever the position is a multiple of the cycle's
    /// length. A host may tell one position for several blocks: only a new one counts.
    void FollowSong(const ProcessContext& context, float cycleBeats);

    /// Moves on by a quad of frames.
    void Advance();
    /// Lanes 0 and 1: left and right, at the end of the quad.
    Float4 Value() const { return value; }

private:
    Float4 Target() const;
    Float4 Drawn(bool glides) const;
    Float4 Stepped(Float4 phases) const;

    SweepLfoSettings settings;
    CycleCounter counter;
    double quadSeconds = 0.0;
    float lastSongPosition = -1.0F;
    float follow = 1.0F;
    bool jumps = true;
    Float4 value = Float4(0.0F);
};

} // namespace Velmora::dsp
