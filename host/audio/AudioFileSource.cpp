// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/AudioFileSource.h"

#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "support/platform/Platform.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <system_error>
#include <utility>

namespace orphia::host {

namespace {

namespace Platform = Velmora::Platform;
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

} // namespace

/// What the library reads is a stream of ours, whose name it mostly need not know.
struct AudioFileSource::File {
    SF_INFO info{};
    SNDFILE* handle = nullptr;

    explicit File(Stream opened) : stream(std::move(opened)) {
        SF_VIRTUAL_IO access{&Length, &Seek, &Read, &Write, &Tell};
        handle = sf_open_virtual(&access, SFM_READ, &info, stream.get());
    }
    ~File() { sf_close(handle); }

    /// Of sound without a header the ending of the name alone tells what it is.
    void OpenByName(const std::filesystem::path& named) {
        info = {};
        handle = sf_open(TextOf(named).c_str(), SFM_READ, &info);
    }

    File(const File&) = delete;
    File& operator=(const File&) = delete;

private:
    static std::FILE* Of(void* stream) { return static_cast<std::FILE*>(stream); }
    static sf_count_t Tell(void* stream) { return Platform::Tell(Of(stream)); }
    static sf_count_t Seek(sf_count_t offset, int whence, void* stream) {
        return Platform::Seek(Of(stream), offset, whence) ? Tell(stream) : -1;
    }
    static sf_count_t Length(void* stream) {
        const sf_count_t here = Tell(stream);
        const sf_count_t length = Seek(0, SEEK_END, stream);
        Seek(here, SEEK_SET, stream);
        return length;
    }
    static sf_count_t Read(void* bytes, sf_count_t count, void* stream) {
        return static_cast<sf_count_t>(std::fread(bytes, 1, static_cast<std::size_t>(count), Of(stream)));
    }
    static sf_count_t Write(const void* /*bytes*/, sf_count_t /*count*/, void* /*stream*/) { return 0; }

    Stream stream;
};

namespace {

[[noreturn]] void Refuse(const std::filesystem::path& path, std::string_view reason) {
    throw FileError(fmt::format("{}: {}", TextOf(path), reason));
}

/// The library's own words for a missing or odd file are unclear, so the plain cases are told apart first.
void CheckReadable(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        Refuse(path, error ? error.message() : "no such file");
    }
    if (std::filesystem::is_directory(status)) {
        Refuse(path, "is a directory");
    }
    if (!std::filesystem::is_regular_file(status) && !std::filesystem::is_fifo(status)) {
        Refuse(path, "is neither a file nor a pipe");
    }
    if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, error) == 0) {
        Refuse(path, "is empty");
    }
}

Stream Open(const std::filesystem::path& path) {
    Stream stream(Platform::OpenFile(TextOf(path), "rb"), &std::fclose);
    if (!stream) {
        Refuse(path, "cannot be read: " + std::generic_category().message(errno));
    }
    return stream;
}

/// All of a pipe, in a file without a name. A signal ends the wait, as it would not inside the sound library.
Stream CopyOfPipe(const std::filesystem::path& path) {
    constexpr std::size_t mostChunks = 65536; // 4 GB
    const Stream pipe = Open(path);
    Stream copy(std::tmpfile(), &std::fclose);
    std::vector<char> chunk(65536);
    std::size_t count = chunk.size();
    for (std::size_t n = 0; copy && count == chunk.size() && n < mostChunks; ++n) {
        count = std::fread(chunk.data(), 1, chunk.size(), pipe.get());
        if (std::fwrite(chunk.data(), 1, count, copy.get()) != count) {
            copy.reset();
        }
    }
    if (!copy || std::ferror(pipe.get()) != 0 || std::fflush(copy.get()) != 0) {
        Refuse(path, "cannot be read: " + std::generic_category().message(errno));
    }
    std::rewind(copy.get());
    return copy;
}

} // namespace

AudioFileSource::AudioFileSource(std::filesystem::path filePath, Playback filePlayback)
    : path(std::move(filePath)), playback(filePlayback) {
    CheckReadable(path);
    std::error_code error;
    const bool isPipe = std::filesystem::is_fifo(path, error);
    file = std::make_unique<File>(isPipe ? CopyOfPipe(path) : Open(path));
    if (file->handle == nullptr && !isPipe) {
        file->OpenByName(path);
    }
    if (file->handle == nullptr) {
        Refuse(path, fmt::format("cannot be read as audio: {}", sf_strerror(nullptr)));
    }
    if (file->info.channels < 1 || file->info.channels > static_cast<int>(channelCount)) {
        Refuse(path, fmt::format("has {} channels; only mono and stereo are read", file->info.channels));
    }
    if (file->info.frames <= 0) {
        Refuse(path, "holds no audio");
    }
    if (file->info.samplerate < minimumSampleRate || file->info.samplerate > maximumSampleRate) {
        Refuse(path, fmt::format("has a sample rate of {} Hz; {} to {} are read", file->info.samplerate,
                                 minimumSampleRate, maximumSampleRate));
    }
    if (playback == Playback::Loop && file->info.seekable == 0) {
        Refuse(path, "cannot be looped: it can be read only once");
    }
}

AudioFileSource::~AudioFileSource() = default;

std::uint32_t AudioFileSource::SampleRate() const {
    return static_cast<std::uint32_t>(file->info.samplerate);
}

std::uint64_t AudioFileSource::ExpectedFrames() const {
    return playback == Playback::Loop ? endless : static_cast<std::uint64_t>(file->info.frames);
}

std::size_t AudioFileSource::Read(std::span<float> samples) {
    std::size_t frames = ReadOnce(samples);
    const std::size_t wanted = samples.size() / channelCount;
    while (playback == Playback::Loop && frames < wanted) {
        Rewind();
        const std::size_t more = ReadOnce(samples.subspan(frames * channelCount));
        if (more == 0) {
            Refuse(path, "holds no audio");
        }
        frames += more;
    }
    for (float& sample : samples.first(frames * channelCount)) {
        if (!std::isfinite(sample)) {
            sample = 0.0F;
            ++replacedSamples;
        }
    }
    return frames;
}

std::size_t AudioFileSource::ReadOnce(std::span<float> samples) {
    const std::size_t wanted = samples.size() / channelCount;
    const bool isMono = file->info.channels == 1;
    if (isMono) {
        monoSamples.resize(wanted);
    }
    float* const target = isMono ? monoSamples.data() : samples.data();
    const auto frames = static_cast<std::size_t>(
        std::max<sf_count_t>(0, sf_readf_float(file->handle, target, static_cast<sf_count_t>(wanted))));
    if (frames < wanted && sf_error(file->handle) != SF_ERR_NO_ERROR) {
        Refuse(path, fmt::format("is damaged: {}", sf_strerror(file->handle)));
    }
    if (isMono) {
        for (std::size_t n = 0; n < frames; ++n) {
            samples[2 * n] = samples[2 * n + 1] = monoSamples[n];
        }
    }
    return frames;
}

void AudioFileSource::Rewind() {
    if (sf_seek(file->handle, 0, SEEK_SET) != 0) {
        Refuse(path, "cannot be looped: it can be read only once");
    }
}

} // namespace orphia::host
