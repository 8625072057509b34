// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/TapeGlide.h"
#include "dsp/effects/shared/LoopCuts.h"
#include "dsp/smoothing/GlidingControls.h"

#include <array>

namespace Velmora::dsp {

/// The settings of an echo in their own units, within the bounds that it can render.
struct DelaySettings {
    /// Each side for itself; the sum of both sides enters on the left and the echoes change sides; each side
    /// enters on its own and the echoes change sides.
    enum Mode : u32 { Stereo, PingPong, Cross };
    static constexpr u32 modeCount = 3;
    static constexpr float longestSeconds = 2.0F;
    static constexpr float widestWowMs = 4.0F;
    static constexpr float mostOffset = 0.5F;

    /// Of the wet sound, 0..1.
    float mix = 0.0F;
    float seconds = 0.5F;
    /// Share of the time by which the right echo comes earlier, or, below 0, the left one.
    float offset = 0.0F;
    float feedback = 0.0F;
    u32 mode = Stereo;
    float lowCutHz = LoopCuts::lowestHz;
    float highCutHz = LoopCuts::highestHz;
    float width = 1.0F;
    float wowMs = 0.0F;
    float saturation = 0.0F;

    bool operator==(const DelaySettings&) const = default;
};

/// Turns the settings of an echo into the numbers of its signal path, and lets these glide: levels within
/// some milliseconds, times as a tape does.
class DelayControls {
public:
    using Float4 = simd::Float4;

    enum Group : u32 { Mix, Entry, Loop, Cuts, Wow, GroupCount };
    enum MixLane : u32 { Dry, WetDirect, WetOther };
    /// From a side into a line.
    enum EntryLane : u32 { LeftToLeft, RightToLeft, RightToRight };
    enum LoopLane : u32 { FeedbackDirect, FeedbackOther, InverseCeiling };
    enum WowLane : u32 { WowSamples };

    void Prepare(float rate);
    void SetTargets(const DelaySettings& settings);
    void JumpToTargets();
    /// Advances the levels by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }
    /// Advances the times by a quad of frames.
    void StepTimes();

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }
    /// The delays in samples without wow: lane 0 left, 1 right.
    Float4 Times() const {
        return {static_cast<float>(times[0].Position()), static_cast<float>(times[1].Position()), 0.0F, 0.0F};
    }
    /// In samples, wow included.
    float LongestDelay() const { return longestDelay; }

private:
    void SetTimes(const DelaySettings& settings);

    GlidingControls<GroupCount, Wow> groups;
    std::array<TapeGlide, 2> times;
    float sampleRate = 44100.0F;
    float longestDelay = 0.0F;
};

} // namespace Velmora::dsp
