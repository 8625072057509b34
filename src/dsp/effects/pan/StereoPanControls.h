// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/pan/StereoPanSettings.h"
#include "dsp/smoothing/SmoothedLanes.h"

#include <array>

namespace Velmora::dsp {

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
    void Aim(const StereoPanSettings& settings);
    /// Arrives at once.
    void Jump();
    /// Advances by a quad of frames.
    void Step();
    bool IsMoving() const;

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }
    /// What a quad leaves of a way at a time constant.
    float DecayOver(float milliseconds) const;

private:
    void AimSource(const StereoPanSettings& settings);
    void AimField(const StereoPanSettings& settings);

    std::array<SmoothedLanes, GroupCount> groups;
    float sampleRate = 44100.0F;
    float decay = 0.0F;
};

} // namespace Velmora::dsp
