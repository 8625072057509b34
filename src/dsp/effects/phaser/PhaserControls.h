// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/SweptEffect.h"

namespace Velmora::dsp {

/// The settings of a phaser in their own units.
struct PhaserSettings : SweptSettings {
    static constexpr u32 mostPairs = 8;
    /// Either sign.
    static constexpr float mostFeedback = 0.95F;
    /// The low cut always takes what does not move; the high cut is off at the highest corner.
    static constexpr float lowestCutHz = 5.0F;
    static constexpr float highestCutHz = 20000.0F;

    float feedback = 0.0F;
    u32 pairs = 1;
    /// Octaves.
    float spread = 0.0F;
    float lowCutHz = lowestCutHz;
    float highCutHz = highestCutHz;
    /// 0..1.
    float crossFeedback = 0.0F;
    bool inverts = false;

    bool operator==(const PhaserSettings&) const = default;
};

/// Turns the settings of a phaser into the numbers of its signal path, and lets these glide.
class PhaserControls : public SweptControls<8, 3> {
public:
    using Float4 = simd::Float4;

    /// LowPresence and HighPresence: 1 for each pair that sounds, of the first four and the other four.
    /// LowOffsets and HighOffsets: their octaves above the centre. The slow ones begin with Corners.
    enum Group : u32 { Mix, Loop, Drive, Corners, LowPresence, HighPresence, LowOffsets, HighOffsets };
    enum LoopLane : u32 { FeedbackDirect, FeedbackOther, LowCut, HighCut };

    void Prepare(float rate);
    void SetTargets(const PhaserSettings& settings);

private:
    void SetMix(const PhaserSettings& settings);
    void SetLoop(const PhaserSettings& settings);
    void SetStages(const PhaserSettings& settings);
    float CutGain(float hz) const;

    float sampleRate = 44100.0F;
};

} // namespace Velmora::dsp
