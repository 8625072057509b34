// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/ControlGroups.h"

namespace Velmora::dsp {

/// The settings of a phaser in their own units, within the bounds that it can render.
struct PhaserSettings {
    static constexpr u32 mostPairs = 8;
    static constexpr float lowestHz = 20.0F;
    static constexpr float highestHz = 20000.0F;
    /// Either sign.
    static constexpr float mostFeedback = 0.95F;
    /// Octaves, of the spread and of either sign of every way of the corners.
    static constexpr float widest = 8.0F;
    static constexpr float mostDriveDb = 36.0F;
    /// The low cut always takes what does not move; the high cut is off at the highest corner.
    static constexpr float lowestCutHz = 5.0F;
    static constexpr float highestCutHz = 20000.0F;

    float mix = 0.0F;
    float hz = 1000.0F;
    float feedback = 0.0F;
    u32 pairs = 1;
    float spread = 0.0F;
    float depth = 0.0F;
    float stereoOffset = 0.0F;
    float envelopeAmount = 0.0F;
    float driveDb = 0.0F;
    float lowCutHz = lowestCutHz;
    float highCutHz = highestCutHz;
    /// 0..1.
    float crossFeedback = 0.0F;
    bool inverts = false;
    float wetGainDb = 0.0F;

    bool operator==(const PhaserSettings&) const = default;
};

/// Turns the settings of a phaser into the numbers of its signal path, and lets these glide.
class PhaserControls {
public:
    using Float4 = simd::Float4;

    /// Drive: a SoftDriveAmount. Centres: lanes of a CornerSweep.
    /// LowPresence and HighPresence: 1 for each pair that sounds, of the first four and the other four.
    /// LowOffsets and HighOffsets: their octaves above the centre.
    enum Group : u32 { Mix, Loop, Drive, Centres, LowPresence, HighPresence, LowOffsets, HighOffsets };
    enum MixLane : u32 { Dry, Wet };
    enum LoopLane : u32 { FeedbackDirect, FeedbackOther, LowCut, HighCut };

    void Prepare(float rate);
    void Aim(const PhaserSettings& settings);
    void Jump() { groups.Jump(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }

private:
    void AimMix(const PhaserSettings& settings);
    void AimLoop(const PhaserSettings& settings);
    void AimStages(const PhaserSettings& settings);
    float CutGain(float hz) const;

    ControlGroups<8, Centres> groups;
    float sampleRate = 44100.0F;
};

} // namespace Velmora::dsp
