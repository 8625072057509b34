// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/GlidingControls.h"
#include "support/platform/Types.h"

namespace Velmora::dsp {

/// The settings of a stereo panner in their own units, within the bounds that it can render.
struct StereoPanSettings {
    /// Of the position, for gains that are all 1 in the middle: the power of both sides stays, up to +3 dB on
    /// one; the nearer side stays and the other one goes; the sum of both stays, up to +6 dB; the far channel
    /// moves over to the near side, by power.
    enum Law : u32 { EqualPower, Balance, Linear, Fold, LawCount };
    /// What the sides are made from: left and right; right and left; twice the left; twice the right; twice
    /// the mean.
    enum Source : u32 { Stereo, Swapped, LeftOnly, RightOnly, Mono, SourceCount };
    enum Polarity : u32 { Upright, InvertedLeft, InvertedRight, InvertedBoth, PolarityCount };

    static constexpr float widestWidth = 2.0F;
    /// Off at the lowest.
    static constexpr float lowestBassHz = 20.0F;
    static constexpr float highestBassHz = 500.0F;
    static constexpr float longestHaasMs = 30.0F;

    /// -1 left to 1 right.
    float pan = 0.0F;
    float panDepth = 0.0F;
    u32 law = EqualPower;
    float width = 1.0F;
    /// -1 mid alone, 1 side alone.
    float midSide = 0.0F;
    float bassHz = lowestBassHz;
    /// Below 0 the left is late.
    float haasMs = 0.0F;
    float levelDepth = 0.0F;
    u32 source = Stereo;
    u32 polarity = Upright;
    float smoothingMs = 5.0F;

    bool operator==(const StereoPanSettings&) const = default;
};

/// Turns the settings of a stereo panner into the numbers of its signal path, and lets these glide, four to a
/// group.
class StereoPanControls {
public:
    enum Group : u32 { SourceMatrix, Field, Motion, Laws, GroupCount };
    /// From a channel to a side.
    enum SourceLane : u32 { LeftToLeft, RightToLeft, LeftToRight, RightToRight };
    /// Each side of itself and of the other; the share of the bass that is kept in the middle, and the
    /// tangent of its corner.
    enum FieldLane : u32 { Direct, Cross, BassShare, BassTangent };
    enum MotionLane : u32 { Pan, PanDepth, LevelDepth };

    void Prepare(float rate);
    void SetTargets(const StereoPanSettings& settings);
    void JumpToTargets() { groups.Arrive(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }
    /// What a quad leaves of a way at a time constant.
    float DecayOver(float milliseconds) const;

private:
    void SetSource(const StereoPanSettings& settings);
    void SetField(const StereoPanSettings& settings);

    GlidingControls<GroupCount, GroupCount> groups;
    float sampleRate = 44100.0F;
};

} // namespace Velmora::dsp
