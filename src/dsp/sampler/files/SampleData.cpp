// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SampleData.h"

#include <algorithm>
#include <utility>

namespace Velmora::dsp {

SampleData::SampleData(std::vector<float>&& left, float rate, const Instrument& record)
    : channelCount(1), sampleRate(rate), frames(static_cast<u32>(left.size())), channels{std::move(left), {}},
      instrument(record) {
    AppendGuard();
}

SampleData::SampleData(std::vector<float>&& left, std::vector<float>&& right, float rate,
                       const Instrument& record)
    : channelCount(2), sampleRate(rate),
      frames(static_cast<u32>(std::min(left.size(), right.size()))), channels{std::move(left),
                                                                              std::move(right)},
      instrument(record) {
    AppendGuard();
}

void SampleData::AppendGuard() {
    for (u32 channel = 0; channel < static_cast<u32>(channelCount); ++channel) {
        std::vector<float>& samples = channels[channel];
        samples.resize(frames);
        samples.resize(frames + guardFrames, frames > 0 ? samples.back() : 0.0F);
    }
}

} // namespace Velmora::dsp
