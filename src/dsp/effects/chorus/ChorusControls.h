// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/GlidingControls.h"

namespace Velmora::dsp {

/// The settings of a chorus in their own units, within the bounds that it can render.
struct ChorusSettings {
    /// The right channel swings as the left; its voices lie between those of the left; that, and the feedback
    /// changes sides.
    enum StereoMode : u32 { Mono, Wide, Cross };
    static constexpr u32 stereoModeCount = 3;
    static constexpr u32 mostVoices = 4;
    static constexpr float longestDelayMs = 60.0F;
    static constexpr float deepestMs = 30.0F;
    static constexpr float fastestHz = 20.0F;
    /// Either sign.
    static constexpr float mostFeedback = 0.95F;
    /// The high cut is off at the highest corner.
    static constexpr float lowestCutHz = 20.0F;
    static constexpr float highestCutHz = 20000.0F;

    float mix = 0.0F;
    float delayMs = 0.0F;
    float depthMs = 0.0F;
    float rateHz = 0.0F;
    float feedback = 0.0F;
    float width = 1.0F;
    u32 stereoMode = Mono;
    u32 voices = 1;
    /// A ChorusLfo::Shape.
    u32 shape = 0;
    float lowCutHz = lowestCutHz;
    float highCutHz = highestCutHz;
    /// Both 0..1.
    float spread = 0.0F;
    float drift = 0.0F;
    float wetGainDb = 0.0F;

    bool operator==(const ChorusSettings&) const = default;
};

/// Turns the settings of a chorus into the numbers of its signal path, and lets these glide: four to a group,
/// those that set delays slower than those that set levels.
class ChorusControls {
public:
    using Float4 = simd::Float4;

    enum Group : u32 {
        Mix,
        Loop,
        VoiceGains,
        Centres,
        Motion,
        Shapes,
        LeftOffsets,
        RightOffsets,
        GroupCount
    };
    enum MixLane : u32 { Dry, WetDirect, WetOther };
    enum LoopLane : u32 { FeedbackDirect, FeedbackOther, LowCut, HighCut };
    enum MotionLane : u32 { DepthSamples, DriftSamples, RateHz, RandomShift };

    void Prepare(float rate);
    void SetTargets(const ChorusSettings& settings);
    void JumpToTargets() { groups.Arrive(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }
    /// In samples.
    float LongestDelay() const { return longestDelay; }

private:
    static float WetLevel(const ChorusSettings& settings);
    void SetVoices(const ChorusSettings& settings);
    void SetLevels(const ChorusSettings& settings);
    void SetMotion(const ChorusSettings& settings);

    GlidingControls<GroupCount, Centres> groups;
    float sampleRate = 44100.0F;
    float longestDelay = 0.0F;
};

} // namespace Velmora::dsp
