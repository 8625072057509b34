// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/ResampledSource.h"

#include "host/common/Errors.h"

#include <fmt/format.h>
#include <samplerate.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace orphia::host {

namespace {

constexpr std::size_t inputFrames = 4096;

} // namespace

struct ResampledSource::Converter {
    int error = 0;
    SRC_STATE* state = src_new(SRC_SINC_MEDIUM_QUALITY, static_cast<int>(channelCount), &error);

    Converter() = default;
    ~Converter() { src_delete(state); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
};

ResampledSource::ResampledSource(std::unique_ptr<AudioSource> other, std::uint32_t rate)
    : source(std::move(other)), sampleRate(rate), ratio(static_cast<double>(rate) / source->SampleRate()),
      converter(std::make_unique<Converter>()), inputSamples(inputFrames * channelCount) {
    if (src_is_valid_ratio(ratio) == 0 || converter->state == nullptr) {
        throw FileError(fmt::format("{} Hz cannot be converted to {} Hz", source->SampleRate(), sampleRate));
    }
}

ResampledSource::~ResampledSource() = default;

std::uint64_t ResampledSource::ExpectedFrames() const {
    return source->ExpectedFrames() == endless ? endless : Scaled(source->ExpectedFrames());
}

std::uint64_t ResampledSource::Scaled(std::uint64_t frames) const {
    return static_cast<std::uint64_t>(std::llround(static_cast<double>(frames) * ratio));
}

std::size_t ResampledSource::Read(std::span<float> samples) {
    const std::size_t wanted = samples.size() / channelCount;
    std::size_t frames = 0;
    while (frames < wanted) {
        if (inputStart == inputEnd && !sourceEnded) {
            Refill();
        }
        const std::size_t more = Convert(samples.subspan(frames * channelCount));
        frames += more;
        if (more == 0 && sourceEnded && inputStart == inputEnd) {
            break;
        }
    }
    if (sourceEnded) {
        frames = FitLength(samples, frames);
    }
    framesOut += frames;
    return frames;
}

/// The converter ends within a frame of the exact length: too much is cut, a missing frame is silence.
std::size_t ResampledSource::FitLength(std::span<float> samples, std::size_t frames) const {
    const std::uint64_t exact = std::max(Scaled(framesIn), framesOut);
    const std::size_t wanted = samples.size() / channelCount;
    const auto fitting = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, exact - framesOut));
    if (frames < fitting) {
        const auto missing = samples.first(fitting * channelCount).subspan(frames * channelCount);
        std::fill(missing.begin(), missing.end(), 0.0F);
    }
    return fitting;
}

void ResampledSource::Refill() {
    inputStart = 0;
    inputEnd = source->Read(inputSamples);
    framesIn += inputEnd;
    sourceEnded = inputEnd < inputFrames;
}

std::size_t ResampledSource::Convert(std::span<float> samples) {
    SRC_DATA data{};
    data.data_in = inputSamples.data() + inputStart * channelCount;
    data.input_frames = static_cast<long>(inputEnd - inputStart);
    data.data_out = samples.data();
    data.output_frames = static_cast<long>(samples.size() / channelCount);
    data.end_of_input = sourceEnded ? 1 : 0;
    data.src_ratio = ratio;
    if (const int error = src_process(converter->state, &data); error != 0) {
        throw FileError(fmt::format("sample rate conversion failed: {}", src_strerror(error)));
    }
    inputStart += static_cast<std::size_t>(data.input_frames_used);
    return static_cast<std::size_t>(data.output_frames_gen);
}

std::unique_ptr<AudioSource> AtRate(std::unique_ptr<AudioSource> source, std::uint32_t sampleRate) {
    if (source->SampleRate() == sampleRate) {
        return source;
    }
    return std::make_unique<ResampledSource>(std::move(source), sampleRate);
}

} // namespace orphia::host
