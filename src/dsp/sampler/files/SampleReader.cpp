// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SampleReader.h"

#include "dsp/sampler/files/SampleFile.h"
#include "dsp/sampler/files/SampleShelf.h"
#include "dsp/sampler/files/SndFileLibrary.h"
#include "support/CLog.h"
#include "support/platform/Platform.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

namespace Velmora::dsp {

namespace {

// The float below 1000, so that a sample of one millisecond may count as shorter than that.
constexpr float millisecondsPerSecond = 999.99994F;

static_assert(SampleReader::maximumBytes / sizeof(float) <=
              std::numeric_limits<u32>::max() - SampleData::guardFrames);

/// 0 when the system does not tell.
std::uintmax_t FileBytes(const std::string& path) {
    std::error_code failure;
    const auto bytes = std::filesystem::file_size(std::u8string(path.begin(), path.end()), failure);
    return failure ? 0 : bytes;
}

bool HoldsMoreFramesThan(const SampleFile& file, std::size_t frames) {
    return static_cast<std::uint64_t>(file.Info().frames) > frames;
}

SampleRefusal CheckHeader(const SampleFile& file, std::size_t frameLimit) {
    const SF_INFO& info = file.Info();
    if (info.frames <= 0) {
        return SampleRefusal::Empty;
    }
    if (info.channels != 1 && info.channels != 2) {
        return SampleRefusal::ChannelCount;
    }
    if (info.samplerate <= 0) {
        return SampleRefusal::NotReadable;
    }
    const bool tooLong = file.IsLengthKnown() && HoldsMoreFramesThan(file, frameLimit);
    return tooLong ? SampleRefusal::TooLong : SampleRefusal::None;
}

SampleRefusal CheckAudio(const SampleFile& file, std::size_t frames, std::size_t frameLimit) {
    if (frames > frameLimit) {
        return SampleRefusal::TooLong;
    }
    if (file.IsLengthPromised() && HoldsMoreFramesThan(file, frames)) {
        return SampleRefusal::Truncated;
    }
    if (frames == 0) {
        return SampleRefusal::Empty;
    }
    const float millisecondsPerFrame = millisecondsPerSecond / static_cast<float>(file.Info().samplerate);
    const bool tooShort = static_cast<float>(frames) * millisecondsPerFrame < 1.0F;
    return tooShort ? SampleRefusal::TooShort : SampleRefusal::None;
}

std::shared_ptr<const SampleData> MakeSample(const SampleFile& file, SampleFile::Channels&& channels) {
    const auto rate = static_cast<float>(file.Info().samplerate);
    const SampleData::Instrument record = file.ReadInstrument();
    if (file.Info().channels == 1) {
        return std::make_shared<const SampleData>(std::move(channels[0]), rate, record);
    }
    return std::make_shared<const SampleData>(std::move(channels[0]), std::move(channels[1]), rate, record);
}

void Decode(const SampleFile& file, std::uintmax_t fileBytes, std::size_t limit,
            SampleReader::Result& result) {
    const auto frameBytes = sizeof(float) * static_cast<std::size_t>(std::max(file.Info().channels, 1));
    const std::size_t frameLimit = limit / frameBytes;
    result.refusal = CheckHeader(file, frameLimit);
    if (result.refusal != SampleRefusal::None) {
        return;
    }
    SampleFile::Channels channels = file.ReadAll(frameLimit, fileBytes);
    result.refusal = CheckAudio(file, channels[0].size(), frameLimit);
    if (result.refusal == SampleRefusal::None) {
        result.data = MakeSample(file, std::move(channels));
    }
}

} // namespace

std::string_view Describe(SampleRefusal refusal) {
    switch (refusal) {
    case SampleRefusal::None:
        return {};
    case SampleRefusal::NotAFile:
        return "no regular file";
    case SampleRefusal::NotReadable:
        return "no sound file that can be read";
    case SampleRefusal::Empty:
        return "no audio in it";
    case SampleRefusal::ChannelCount:
        return "neither mono nor stereo";
    case SampleRefusal::TooShort:
        return "shorter than a millisecond";
    case SampleRefusal::TooLong:
        return "too long";
    case SampleRefusal::Truncated:
        return "shorter than its header tells";
    }
    return {};
}

SampleReader::SampleReader(const SndFileLibrary& libraryToUse, CLog& logToUse, std::size_t limitToKeep)
    : library(&libraryToUse), log(&logToUse), limit(std::min(limitToKeep, maximumBytes)) {}

SampleReader::Result SampleReader::Read(const std::string& path) const {
    Result result;
    result.data = SampleShelf::GetInstance().Find(path);
    if (result.data != nullptr) {
        result.channelCount = result.data->ChannelCount();
        result.sampleRate = static_cast<i32>(result.data->SampleRate());
        result.frames = result.data->Frames();
        return result;
    }
    // Opening a pipe would wait for its other end, and a device may never end.
    if (!Platform::IsRegularFile(path)) {
        result.refusal = SampleRefusal::NotAFile;
        return result;
    }
    const SampleFile file(library != nullptr ? *library : SndFileLibrary::GetInstance(),
                          log != nullptr ? *log : CLog::GetInstance(), path);
    if (!file.IsOpen()) {
        result.refusal = SampleRefusal::NotReadable;
        result.reason = file.OpenError();
        return result;
    }
    result.channelCount = file.Info().channels;
    result.sampleRate = file.Info().samplerate;
    result.frames = file.Info().frames;
    Decode(file, FileBytes(path), limit, result);
    return result;
}

} // namespace Velmora::dsp
