// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// The decoded audio of one file, at the file's own rate. It never changes once it is made, so that any
/// number of slots and threads may read it.
class SampleData {
public:
    /// Readable frames behind the last one, which repeat it: an interpolation may step past the end.
    static constexpr u32 guardFrames = 4;

    /// The instrument record of the file as libsndfile tells it; zero if the file has none. Kept for its
    /// owner, not read by the engine.
    using Instrument = std::array<std::byte, 272>;

    /// Mono. The rate is in Hz. Reserve guardFrames more than the length, or the vector grows here.
    SampleData(std::vector<float>&& left, float rate, const Instrument& record)
        : channelCount(1), sampleRate(rate),
          frames(static_cast<u32>(left.size())), channels{std::move(left), {}}, instrument(record) {
        AppendGuard();
    }
    /// Stereo; both sides are of one length.
    SampleData(std::vector<float>&& left, std::vector<float>&& right, float rate, const Instrument& record)
        : channelCount(2), sampleRate(rate),
          frames(static_cast<u32>(std::min(left.size(), right.size()))), channels{std::move(left),
                                                                                  std::move(right)},
          instrument(record) {
        AppendGuard();
    }

    /// 1 or 2.
    i32 ChannelCount() const { return channelCount; }
    /// In Hz.
    float SampleRate() const { return sampleRate; }
    /// Without the guard.
    u32 Frames() const { return frames; }
    /// Frames() + guardFrames samples; null beyond the sample's channels.
    const float* Channel(u32 channel) const {
        return channel < static_cast<u32>(channelCount) ? channels[channel].data() : nullptr;
    }
    const Instrument& InstrumentRecord() const { return instrument; }

private:
    void AppendGuard() {
        for (u32 channel = 0; channel < static_cast<u32>(channelCount); ++channel) {
            std::vector<float>& samples = channels[channel];
            samples.resize(frames);
            samples.resize(frames + guardFrames, frames > 0 ? samples.back() : 0.0F);
        }
    }

    i32 channelCount;
    float sampleRate;
    u32 frames;
    std::array<std::vector<float>, 2> channels;
    Instrument instrument;
};

} // namespace Velmora::dsp
