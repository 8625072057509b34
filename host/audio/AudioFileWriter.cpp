// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/AudioFileWriter.h"

#include "host/common/Errors.h"
#include "host/common/Paths.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

namespace orphia::host {

/// The bytes go through a stream of our own: the library does not tell of all writes that fail, least of
/// those when it closes the file.
struct AudioFileWriter::File {
    std::fstream stream;
    sf_count_t length = 0;
    /// Of the first write that failed, as of errno; 0 while all went well.
    int fault = 0;
    SF_INFO info;
    SNDFILE* handle;

    File(const std::filesystem::path& path, const SF_INFO& wanted)
        : stream(path, std::ios::binary | std::ios::in | std::ios::out), info(wanted) {
        SF_VIRTUAL_IO access{&Length, &Seek, &Read, &WriteBytes, &Tell};
        handle = sf_open_virtual(&access, SFM_WRITE, &info, this);
    }
    ~File() { sf_close(handle); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// What the library still holds, too. Returns a reason, or 0.
    int Close() {
        sf_close(std::exchange(handle, nullptr));
        Note(stream.is_open());
        errno = 0;
        stream.close();
        Note(!stream.fail());
        return fault;
    }

private:
    void Note(bool isWell) {
        if (!isWell && fault == 0) {
            fault = errno != 0 ? errno : EIO;
        }
    }
    sf_count_t Here() { return static_cast<sf_count_t>(static_cast<std::streamoff>(stream.tellp())); }

    static File& Self(void* file) { return *static_cast<File*>(file); }
    static sf_count_t Length(void* file) { return Self(file).length; }
    static sf_count_t Tell(void* file) { return Self(file).Here(); }
    static sf_count_t Seek(sf_count_t offset, int whence, void* file) {
        const auto direction = whence == SEEK_SET   ? std::ios::beg
                               : whence == SEEK_CUR ? std::ios::cur
                                                    : std::ios::end;
        errno = 0;
        Self(file).Note(!Self(file).stream.seekp(offset, direction).fail());
        return Tell(file);
    }
    static sf_count_t Read(void* /*bytes*/, sf_count_t /*count*/, void* /*file*/) { return 0; }
    static sf_count_t WriteBytes(const void* bytes, sf_count_t count, void* file) {
        File& self = Self(file);
        errno = 0;
        self.stream.write(static_cast<const char*>(bytes), count);
        self.Note(!self.stream.fail());
        self.length = std::max(self.length, self.fault == 0 ? self.Here() : 0);
        return self.fault == 0 ? count : 0;
    }
};

namespace {

constexpr int channelCount = 2;
constexpr double vorbisQuality = 0.7;
/// A WAV file counts its bytes in 32 bits; a little is left for its header.
constexpr std::uint64_t maxWavBytes = (1ULL << 32U) - 65536U;

int ContainerOf(const std::filesystem::path& path) {
    std::string extension = TextOf(path.extension());
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (extension == ".wav") {
        return SF_FORMAT_WAV;
    }
    if (extension == ".flac") {
        return SF_FORMAT_FLAC;
    }
    if (extension == ".ogg") {
        return SF_FORMAT_OGG;
    }
    throw UsageError(
        fmt::format("{}: unknown output format; the name must end in .wav, .flac or .ogg", TextOf(path)));
}

int EncodingOf(SampleFormat format) {
    switch (format) {
    case SampleFormat::Int16:
        return SF_FORMAT_PCM_16;
    case SampleFormat::Int24:
        return SF_FORMAT_PCM_24;
    case SampleFormat::Float32:
        break;
    }
    return SF_FORMAT_FLOAT;
}

unsigned BytesOf(SampleFormat format) {
    switch (format) {
    case SampleFormat::Int16:
        return 2;
    case SampleFormat::Int24:
        return 3;
    case SampleFormat::Float32:
        break;
    }
    return 4;
}

SF_INFO InfoOf(int container, std::uint32_t sampleRate, SampleFormat format) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(sampleRate);
    info.channels = channelCount;
    info.format = container | (container == SF_FORMAT_OGG ? SF_FORMAT_VORBIS : EncodingOf(format));
    return info;
}

} // namespace

void AudioFileWriter::CheckFormat(const std::filesystem::path& path, std::optional<SampleFormat> format) {
    const int container = ContainerOf(path);
    if (container == SF_FORMAT_FLAC && format == SampleFormat::Float32) {
        throw UsageError(fmt::format("{}: FLAC holds 16 or 24 bits, not float", TextOf(path)));
    }
    if (container == SF_FORMAT_OGG && format) {
        throw UsageError(fmt::format("{}: Vorbis has no sample format to choose", TextOf(path)));
    }
}

AudioFileWriter::AudioFileWriter(const std::filesystem::path& path, std::uint32_t sampleRate,
                                 std::optional<SampleFormat> format)
    : pending((CheckFormat(path, format), path)),
      bytesLeft(ContainerOf(path) == SF_FORMAT_WAV ? maxWavBytes : std::numeric_limits<std::uint64_t>::max()),
      bytesPerSample(BytesOf(format.value_or(SampleFormat::Int24))),
      clips(ContainerOf(path) != SF_FORMAT_OGG && format != SampleFormat::Float32) {
    const SF_INFO info = InfoOf(ContainerOf(path), sampleRate, format.value_or(SampleFormat::Int24));
    file = std::make_unique<File>(pending.TemporaryPath(), info);
    if (file->handle == nullptr) {
        throw FileError(fmt::format("{}: cannot be written at {} Hz: {}", TextOf(path), sampleRate,
                                    sf_strerror(nullptr)));
    }
    double quality = vorbisQuality;
    sf_command(file->handle, SFC_SET_VBR_ENCODING_QUALITY, &quality, sizeof quality);
    sf_command(file->handle, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // The chunk of peaks holds the time of day, and equal runs shall give equal files.
    sf_command(file->handle, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

AudioFileWriter::~AudioFileWriter() = default;

void AudioFileWriter::Write(std::span<const float> samples) {
    const std::uint64_t bytes = samples.size() * bytesPerSample;
    if (bytes > bytesLeft) {
        throw FileError(
            fmt::format("{}: a WAV file ends at 4 GB; write .flac instead", TextOf(pending.Target())));
    }
    bytesLeft -= bytes;
    if (clips) {
        clippedSamples += static_cast<std::uint64_t>(std::count_if(
            samples.begin(), samples.end(), [](float sample) { return std::abs(sample) > 1.0F; }));
    }
    const auto frames = static_cast<sf_count_t>(samples.size() / channelCount);
    if (sf_writef_float(file->handle, samples.data(), frames) != frames) {
        throw FileError(fmt::format("{}: cannot be written: {}", TextOf(pending.Target()),
                                    file->fault != 0 ? std::generic_category().message(file->fault)
                                                     : sf_strerror(file->handle)));
    }
}

void AudioFileWriter::Finish() {
    const int fault = file->Close();
    std::error_code error;
    const bool isWhole = fault == 0 && std::filesystem::file_size(pending.TemporaryPath(), error) ==
                                           static_cast<std::uintmax_t>(file->length);
    if (!isWhole) {
        throw FileError(fmt::format("{}: cannot be written: {}", TextOf(pending.Target()),
                                    std::generic_category().message(fault != 0 ? fault : EIO)));
    }
    pending.Commit();
}

} // namespace orphia::host
