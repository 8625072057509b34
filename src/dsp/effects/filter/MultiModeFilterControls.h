// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/SweptEffect.h"

namespace Velmora::dsp {

/// The settings of the multi-mode filter in their own units.
struct MultiModeFilterSettings : SweptSettings {
    static constexpr float lowestHz = 20.0F;
    static constexpr float highestHz = 20000.0F;
    static constexpr float topMode = 3.0F;

    /// 0..1.
    float resonance = 0.0F;
    /// 0..topMode.
    float mode = 0.0F;
    bool isSteep = false;

    bool operator==(const MultiModeFilterSettings&) const = default;
};

/// Turns the settings of the filter into the numbers of its signal path, and lets these glide.
class MultiModeFilterControls : public SweptControls<5, 3> {
public:
    /// The slow ones begin with Drive.
    enum Group : u32 { Mix, Outputs, Loop, Drive, Corners };
    enum MixLane : u32 { Dry, Wet, Steepness };
    /// Weights of the outputs; that of the band is for the first section and for the second.
    enum OutputLane : u32 { Low, Band, High, SecondBand };
    enum LoopLane : u32 { Damping, Limit };
    /// Of the second section: the broader half of a Butterworth filter of fourth order.
    static constexpr float secondDamping = 1.847759F;

    void Prepare(float rate);
    void SetTargets(const MultiModeFilterSettings& settings);

private:
    void SetFilter(const MultiModeFilterSettings& settings);
};

} // namespace Velmora::dsp
