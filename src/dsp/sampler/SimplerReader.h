// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/SimplerPlayhead.h"
#include "dsp/sampler/SimplerRange.h"
#include "support/platform/Types.h"

#include <cstdint>

namespace Velmora::dsp {

/// Reads one channel of a sample along a playhead, in passes: from one end of the range to the next within
/// the frames asked for. Within a pass all is linear, so that the loop over frames knows no conditions.
class SimplerReader {
public:
    /// channelData: null reads as silence. step: 1/256 to 256 frames of the sample per frame.
    SimplerReader(const float* channelData, const SimplerRange& playedRange, float step)
        : data(channelData), range(playedRange), stride(step) {}

    /// Once to the end of the trimmed part, with a fade before it; silence behind.
    void ReadOnce(SimplerPlayhead& head, bool repeatsOnce, float* out, u32 frames) const;
    /// Round the loop, with a crossfade before each end.
    void ReadLoop(SimplerPlayhead& head, float* out, u32 frames) const;

    /// The value between two frames, by a straight line. position is at least 0.
    static float Interpolate(const float* channelData, double position) {
        const auto index = static_cast<u32>(position);
        const auto fraction = static_cast<float>(position - static_cast<double>(index));
        return channelData[index] + fraction * (channelData[index + 1] - channelData[index]);
    }

private:
    class Line;

    u32 FramesToPass(double distance, u32 limit) const;
    Line LineFrom(double position, bool rises) const;
    void ReadPlain(Line line, float* out, u32 frames) const;
    void ReadFade(Line line, double distance, float* out, u32 frames) const;
    void ReadCrossFade(Line first, Line second, double distance, float* out, u32 frames) const;
    double SecondPosition(const SimplerPlayhead& head, double distance) const;

    const float* data;
    const SimplerRange& range;
    double stride;
};

} // namespace Velmora::dsp
