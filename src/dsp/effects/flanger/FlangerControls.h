// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/LoopCuts.h"
#include "dsp/smoothing/GlidingControls.h"

namespace Velmora::dsp {

/// The settings of a flanger in their own units, within the bounds that it can render.
struct FlangerSettings {
    /// Sine; triangle; a triangle that is slow at the short delays and fast at the long ones, so that the
    /// notches seem to move evenly; a smooth random walk.
    enum Shape : u32 { Sine, Triangle, Even, Random };
    static constexpr u32 shapeCount = 4;
    static constexpr float longestDelayMs = 20.0F;
    static constexpr float deepestMs = 10.0F;
    /// Either sign.
    static constexpr float widestManualMs = 5.0F;
    static constexpr float fastestHz = 10.0F;
    /// Either sign.
    static constexpr float mostFeedback = 0.97F;

    /// Of the wet sound, 0..1.
    float mix = 0.0F;
    float delayMs = 0.0F;
    float depthMs = 0.0F;
    float manualMs = 0.0F;
    float rateHz = 0.0F;
    float feedback = 0.0F;
    u32 shape = Sine;
    /// Cycles by which the right side is ahead, 0..1.
    float stereoPhase = 0.0F;
    bool throughZero = false;
    bool inverted = false;
    float lowCutHz = LoopCuts::lowestHz;
    float highCutHz = LoopCuts::highestHz;
    float width = 1.0F;
    float drive = 0.0F;
    float wetGainDb = 0.0F;

    bool operator==(const FlangerSettings&) const = default;
};

/// Turns the settings of a flanger into the numbers of its signal path, and lets these glide.
class FlangerControls {
public:
    using Float4 = simd::Float4;

    enum Group : u32 { Mix, Loop, Cuts, Shapes, Hand, Motion, GroupCount };
    /// The dry sound: how much of it comes at once, how much by the delay of the base.
    enum MixLane : u32 { DryAtOnce, DryLate, WetDirect, WetOther };
    enum LoopLane : u32 { Feedback, InverseCeiling };
    /// How much of the swing is bent as the even shape is.
    enum HandLane : u32 { ManualSamples, Bend };
    enum MotionLane : u32 { BaseSamples, DepthSamples, RateHz, StereoPhase };

    void Prepare(float rate);
    void SetTargets(const FlangerSettings& settings);
    void JumpToTargets() { groups.Arrive(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }
    /// In samples.
    float LongestDelay() const { return longestDelay; }

private:
    void SetLevels(const FlangerSettings& settings);
    void SetMotion(const FlangerSettings& settings);

    GlidingControls<GroupCount, Motion> groups;
    float sampleRate = 44100.0F;
    float longestDelay = 0.0F;
};

} // namespace Velmora::dsp
