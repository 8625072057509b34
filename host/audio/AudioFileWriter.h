// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Files.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

namespace orphia::host {

enum class SampleFormat { Int16, Int24, Float32 };

/// Writes a stereo sound file whose name tells the format: .wav, .flac or .ogg (Vorbis). The file appears
/// under its name with Finish, complete; without Finish nothing is left.
class AudioFileWriter {
public:
    /// Throws UsageError for a name that tells no format, and for a format without these samples: FLAC has
    /// no Float32, Vorbis has none to choose.
    static void CheckFormat(const std::filesystem::path& path, std::optional<SampleFormat> format);

    /// No format means Int24, which all but Vorbis have. Throws FileError, and what CheckFormat throws.
    AudioFileWriter(const std::filesystem::path& path, std::uint32_t sampleRate,
                    std::optional<SampleFormat> format);
    ~AudioFileWriter();

    /// Appends interleaved frames; full scale is 1. Throws FileError.
    void Write(std::span<const float> samples);

    /// Closes the file and gives it its name, if all of it has been written. Throws FileError.
    void Finish();

    /// Samples so far beyond full scale, cut off there; always 0 for Float32.
    std::uint64_t ClippedSamples() const { return clippedSamples; }

private:
    struct File;

    PendingFile pending;
    std::unique_ptr<File> file;
    std::uint64_t bytesLeft;
    unsigned bytesPerSample;
    bool clips;
    std::uint64_t clippedSamples = 0;
};

} // namespace orphia::host
