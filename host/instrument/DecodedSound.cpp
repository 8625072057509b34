// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/instrument/DecodedSound.h"

#include "dsp/sampler/files/SampleReader.h"
#include "dsp/sampler/files/SampleShelf.h"
#include "host/common/Errors.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <utility>

namespace orphia::host {

namespace {

using Velmora::dsp::SampleData;

/// With room for the guard, and silence for what is no number.
std::vector<float> Copy(const std::vector<float>& channel) {
    std::vector<float> samples;
    samples.reserve(channel.size() + SampleData::guardFrames);
    std::transform(channel.begin(), channel.end(), std::back_inserter(samples),
                   [](float sample) { return std::isfinite(sample) ? sample : 0.0F; });
    return samples;
}

} // namespace

void PutDecodedSound(const std::string& path, std::span<const std::vector<float>> channels,
                     std::uint32_t rate) {
    if (path.empty() || path.front() != '/' || rate == 0) {
        throw UsageError("a decoded sound needs a path that begins with / and a rate");
    }
    if (channels.empty() || channels.size() > 2 || channels.front().size() * 1000 < rate ||
        channels.front().size() != channels.back().size()) {
        throw UsageError("a sample has one or two channels, of at least a millisecond");
    }
    if (channels.size() * channels.front().size() >
        Velmora::dsp::SampleReader::maximumBytes / sizeof(float)) {
        throw UsageError("the sound is too long for a sample");
    }
    const auto hz = static_cast<float>(rate);
    auto sample = channels.size() == 1
                      ? std::make_shared<const SampleData>(Copy(channels[0]), hz, SampleData::Instrument{})
                      : std::make_shared<const SampleData>(Copy(channels[0]), Copy(channels[1]), hz,
                                                           SampleData::Instrument{});
    Velmora::dsp::SampleShelf::GetInstance().Put(path, std::move(sample));
}

} // namespace orphia::host
