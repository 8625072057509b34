// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/files/SampleData.h"
#include "support/platform/Types.h"

namespace Velmora::dsp {

/// The part of a sample that is played, in frames, derived from controls in 0..1. Whatever the controls,
/// playing between its points reads frames 0 to Frames() + 2 at most, which the sample's guard covers.
struct PlayRange {
    struct Controls {
        float trimStart = 0.0F;
        float trimStop = 1.0F;
        float loopStart = 0.0F;
        float loopStop = 1.0F;
        /// Share of the loop's length.
        float crossFade = 0.0F;
    };

    u32 frames = 0;
    u32 trimStart = 0;
    u32 trimStop = 0;
    u32 loopStart = 0;
    u32 loopStop = 0;
    /// Neither the trimmed part nor the loop gets shorter.
    u32 minimumLength = 0;
    float crossFadeLength = 0.0F;
    /// The fade before the end of a pass without loop; 0 is none.
    float endFadeLength = 0.0F;
    /// The loop runs back and forth.
    bool turnsRound = false;

    /// For a sample of at least one frame; hostRate in Hz.
    void SetTrim(const SampleData& sample, const Controls& controls, float hostRate);
    /// Loop points and crossfade within the present trim.
    void SetLoop(const Controls& controls, bool isReversed);
    /// Where playing starts at a position of 0..1 in the trimmed part.
    double StartPosition(float start, bool isReversed) const;

private:
    float CrossFadeLimit(bool isReversed) const;
};

} // namespace Velmora::dsp
