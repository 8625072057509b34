// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/PlayRange.h"
#include "dsp/sampler/Playhead.h"
#include "support/platform/Types.h"

#include <cstdint>

namespace Velmora::dsp {

/// Reads one channel of a sample along a playhead, in passes: from one end of the range to the next within
/// the frames asked for. Within a pass all is linear, so that the loop over frames knows no conditions.
class ChannelReader {
public:
    /// channelData: null reads as silence. step: 1/256 to 256 frames of the sample per frame.
    ChannelReader(const float* channelData, const PlayRange& playedRange, float step)
        : data(channelData), range(playedRange), stride(step) {}

    /// Once to the end of the trimmed part, with a fade before it; silence behind.
    void ReadOnce(Playhead& head, bool repeatsOnce, float* out, u32 frames) const;
    /// Round the loop, with a crossfade before each end.
    void ReadLoop(Playhead& head, float* out, u32 frames) const;

private:
    class Line;

    u32 FramesToPass(double distance, u32 limit) const;
    Line LineFrom(double position, bool rises) const;
    void ReadPlain(Line line, float* out, u32 frames) const;
    void ReadFade(Line line, double distance, float* out, u32 frames) const;
    void ReadCrossFade(Line first, Line second, double distance, float* out, u32 frames) const;
    double SecondPosition(const Playhead& head, double distance) const;

    const float* data;
    const PlayRange& range;
    double stride;
};

} // namespace Velmora::dsp
