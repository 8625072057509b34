// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SampleFile.h"

#include "dsp/sampler/files/SndFileLibrary.h"
#include "support/CLog.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <mutex>
#include <string_view>
#include <utility>

namespace Velmora::dsp {

namespace {

constexpr std::string_view logCategory = "audio_engine";

constexpr std::size_t chunkFrames = std::size_t{64} << 10U; // stays in the cache between zeroing and reading
constexpr std::size_t blockFrames = 512;                    // of stereo, side by side: 4096 bytes
/// More than any codec packs into a byte of real sound.
constexpr std::uintmax_t plausibleFramesPerByte = 16;

float FiniteOrZero(float sample) { return std::isfinite(sample) ? sample : 0.0F; }

static_assert(sizeof(SF_INSTRUMENT) == sizeof(SampleData::Instrument));

} // namespace

/// Reads everything, once.
class SampleFile::Decoder {
public:
    Decoder(const SampleFile& fileToRead, std::size_t limit, std::uintmax_t bytes);
    Channels Run();

private:
    void Reserve(std::size_t frames);
    void Grow(std::size_t frames);
    std::size_t ReadMono(std::size_t frames);
    std::size_t ReadStereo(std::size_t frames);

    const SampleFile& file;
    std::size_t channelCount;
    std::size_t wanted;
    std::size_t done = 0;
    Channels channels;
};

SampleFile::SampleFile(const SndFileLibrary& libraryToUse, CLog& logToUse)
    : library(libraryToUse), log(logToUse) {}

// Delegates, so that the destructor closes the file if the log raises.
SampleFile::SampleFile(const SndFileLibrary& libraryToUse, CLog& logToUse, const std::string& path)
    : SampleFile(libraryToUse, logToUse) {
    if (!library.sfClose) {
        throw std::bad_function_call(); // what could not be closed again is not opened
    }
    {
        // libsndfile writes what it finds in a header to a buffer of the whole process.
        static std::mutex opening;
        const std::lock_guard lock(opening);
        handle = library.OpenForReading(path, info);
        if (handle == nullptr && library.sfStrerror) {
            openError = library.sfStrerror(nullptr);
        }
    }
    log.Log(logCategory, LogLevel::Info, "libsndfile: Opened sample file " + path);
}

SampleFile::~SampleFile() {
    if (handle == nullptr || library.sfClose(handle) == 0) {
        return;
    }
    try {
        log.Log(logCategory, LogLevel::Error, "libsndfile: error while closing sample file");
    } catch (...) { // NOLINT(bugprone-empty-catch): a lost line does not end the program
    }
}

bool SampleFile::IsLengthPromised() const {
    // MPEG audio has no length: it is worked out from the size of the file unless an encoder noted it, so
    // that a tag behind the audio counts as audio.
    const int codec = info.format & SF_FORMAT_SUBMASK;
    return IsLengthKnown() && codec != SF_FORMAT_MPEG_LAYER_I && codec != SF_FORMAT_MPEG_LAYER_II &&
           codec != SF_FORMAT_MPEG_LAYER_III;
}

std::size_t SampleFile::Read(float* samples, std::size_t frames) const {
    const auto asked = static_cast<sf_count_t>(frames);
    const sf_count_t came = library.sfReadfFloat(handle, samples, asked);
    return static_cast<std::size_t>(std::clamp<sf_count_t>(came, 0, asked));
}

SampleFile::Channels SampleFile::ReadAll(std::size_t limit, std::uintmax_t bytes) const {
    return Decoder(*this, limit, bytes).Run();
}

SampleData::Instrument SampleFile::ReadInstrument() const {
    alignas(SF_INSTRUMENT) SampleData::Instrument record{};
    const int size = static_cast<int>(record.size());
    const bool isThere = library.sfCommand(handle, SFC_GET_INSTRUMENT, record.data(), size) != 0;
    return isThere ? record : SampleData::Instrument{};
}

SampleFile::Decoder::Decoder(const SampleFile& fileToRead, std::size_t limit, std::uintmax_t bytes)
    : file(fileToRead), channelCount(static_cast<std::size_t>(file.Info().channels)),
      wanted(static_cast<std::size_t>(std::min(file.Info().frames, static_cast<sf_count_t>(limit) + 1))) {
    if (file.IsLengthKnown()) {
        const std::uintmax_t believed = std::min<std::uintmax_t>(bytes, wanted) * plausibleFramesPerByte;
        Reserve(static_cast<std::size_t>(std::min<std::uintmax_t>(believed, wanted)));
    }
}

SampleFile::Channels SampleFile::Decoder::Run() {
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
    return std::move(channels);
}

void SampleFile::Decoder::Reserve(std::size_t frames) {
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        channels[channel].reserve(frames + SampleData::guardFrames);
    }
}

void SampleFile::Decoder::Grow(std::size_t frames) {
    const std::size_t capacity = channels[0].capacity();
    if (frames + SampleData::guardFrames > capacity) {
        Reserve(std::max(frames, std::min(wanted, 2 * capacity)));
    }
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        channels[channel].resize(frames);
    }
}

std::size_t SampleFile::Decoder::ReadMono(std::size_t frames) {
    float* samples = channels[0].data() + done;
    const std::size_t came = file.Read(samples, frames);
    std::transform(samples, samples + came, samples, FiniteOrZero);
    return came;
}

std::size_t SampleFile::Decoder::ReadStereo(std::size_t frames) {
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
