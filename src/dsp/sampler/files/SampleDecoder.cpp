// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SampleDecoder.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmora::dsp {

namespace {

constexpr std::size_t chunkFrames = std::size_t{64} << 10U; // stays in the cache between zeroing and reading
constexpr std::size_t blockFrames = 512;                    // of stereo, side by side: 4096 bytes
/// More than any codec packs into a byte of real sound.
constexpr std::uintmax_t plausibleFramesPerByte = 16;

float FiniteOrZero(float sample) {
    return std::abs(sample) <= std::numeric_limits<float>::max() ? sample : 0.0F;
}

} // namespace

SampleDecoder::SampleDecoder(const SampleFile& fileToRead, std::size_t limit, std::uintmax_t fileBytes)
    : file(fileToRead), channelCount(static_cast<std::size_t>(file.Info().channels)),
      wanted(static_cast<std::size_t>(std::min(file.Info().frames, static_cast<sf_count_t>(limit) + 1))) {
    if (file.IsLengthKnown()) {
        const std::uintmax_t bytes = std::min<std::uintmax_t>(fileBytes, wanted);
        Reserve(static_cast<std::size_t>(std::min<std::uintmax_t>(wanted, bytes * plausibleFramesPerByte)));
    }
}

void SampleDecoder::Run() {
    while (done < wanted) {
        const std::size_t frames = std::min(chunkFrames, wanted - done);
        Grow(done + frames);
        const std::size_t came = channelCount == 1 ? ReadMono(frames) : ReadStereo(frames);
        done += came;
        if (came < frames) {
            break;
        }
    }
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        channels[channel].resize(done);
    }
}

void SampleDecoder::Reserve(std::size_t frames) {
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        channels[channel].reserve(frames + SampleData::guardFrames);
    }
}

void SampleDecoder::Grow(std::size_t frames) {
    const std::size_t capacity = channels[0].capacity();
    if (frames + SampleData::guardFrames > capacity) {
        Reserve(std::max(frames, std::min(wanted, 2 * capacity)));
    }
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        channels[channel].resize(frames);
    }
}

std::size_t SampleDecoder::ReadMono(std::size_t frames) {
    float* samples = channels[0].data() + done;
    const std::size_t came = file.Read(samples, frames);
    std::transform(samples, samples + came, samples, FiniteOrZero);
    return came;
}

std::size_t SampleDecoder::ReadStereo(std::size_t frames) {
    std::array<float, 2 * blockFrames> block;
    std::size_t sum = 0;
    bool atEnd = false;
    while (sum < frames && !atEnd) {
        const std::size_t asked = std::min(blockFrames, frames - sum);
        const std::size_t came = file.Read(block.data(), asked);
        float* left = channels[0].data() + done + sum;
        float* right = channels[1].data() + done + sum;
        for (std::size_t frame = 0; frame < came; ++frame) {
            left[frame] = FiniteOrZero(block[2 * frame]);
            right[frame] = FiniteOrZero(block[2 * frame + 1]);
        }
        sum += came;
        atEnd = came < asked;
    }
    return sum;
}

} // namespace Velmora::dsp
