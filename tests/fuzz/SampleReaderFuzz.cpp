// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SampleReader.h"
#include "fuzz/FuzzTargets.h"
#include "fuzz/MemoryFile.h"
#include "fuzz/Require.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace {

using orphia::fuzz::Require;
using Velmora::dsp::SampleData;
using Velmora::dsp::SampleRefusal;

void CheckSample(const Velmora::dsp::SampleReader::Result& result) {
    const SampleData& data = *result.data;
    const auto channels = static_cast<std::uint32_t>(data.ChannelCount());
    Require(channels == 1 || channels == 2, "neither mono nor stereo");
    Require(data.ChannelCount() == result.channelCount, "not the channels of the header");
    Require(data.SampleRate() == static_cast<float>(result.sampleRate), "not the rate of the header");
    Require(data.SampleRate() > 0.0F, "no rate");
    Require(data.Frames() > 0 && data.Frames() <= result.frames, "more frames than the header has, or none");
    Require((data.Channel(1) != nullptr) == (channels == 2), "the wrong channel");
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        for (std::uint32_t n = 0; n < data.Frames() + SampleData::guardFrames; ++n) {
            Require(std::isfinite(data.Channel(channel)[n]), "a sample is no finite number");
        }
    }
}

} // namespace

void orphia::fuzz::SampleReader(const std::uint8_t* data, std::size_t size) {
    static const Velmora::dsp::SampleReader reader;
    const MemoryFile file(data, size);
    const Velmora::dsp::SampleReader::Result result = reader.Read(file.Path());
    const bool isRead = result.data != nullptr;
    Require(isRead == (result.refusal == SampleRefusal::None), "neither a sample nor a refusal");
    if (isRead) {
        CheckSample(result);
    }
}
