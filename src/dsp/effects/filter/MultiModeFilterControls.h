// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/ControlGroups.h"
#include "support/platform/Types.h"

namespace Velmora::dsp {

/// The settings of the multi-mode filter in their own units, within the bounds that it can render.
struct MultiModeFilterSettings {
    static constexpr float lowestHz = 20.0F;
    static constexpr float highestHz = 20000.0F;
    static constexpr float topMode = 3.0F;
    /// Octaves, of either sign of every way of the cutoff.
    static constexpr float widest = 10.0F;
    static constexpr float mostDriveDb = 48.0F;

    float mix = 1.0F;
    float hz = 1000.0F;
    /// 0..1.
    float resonance = 0.0F;
    /// 0..topMode.
    float mode = 0.0F;
    bool isSteep = false;
    float driveDb = 0.0F;
    float stereoOffset = 0.0F;
    float envelopeAmount = 0.0F;
    float lfoAmount = 0.0F;
    float wetGainDb = 0.0F;

    bool operator==(const MultiModeFilterSettings&) const = default;
};

/// Turns the settings of the filter into the numbers of its signal path, and lets these glide.
class MultiModeFilterControls {
public:
    using Float4 = simd::Float4;

    /// Drive: a SoftDriveAmount. Cutoffs: lanes of a CornerSweep.
    enum Group : u32 { Mix, Outputs, Loop, Drive, Cutoffs };
    enum MixLane : u32 { Dry, Wet, Steepness };
    /// Weights of the outputs; that of the band is for the first section and for the second.
    enum OutputLane : u32 { Low, Band, High, SecondBand };
    enum LoopLane : u32 { Damping, Limit };
    /// Of the second section: the broader half of a Butterworth filter of fourth order.
    static constexpr float secondDamping = 1.847759F;

    void Prepare(float rate);
    void Aim(const MultiModeFilterSettings& settings);
    void Jump() { groups.Jump(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }

private:
    void AimFilter(const MultiModeFilterSettings& settings);

    ControlGroups<5, Drive> groups;
};

} // namespace Velmora::dsp
