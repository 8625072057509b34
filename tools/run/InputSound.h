// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/audio/AudioFileSource.h"
#include "host/audio/AudioSource.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

namespace orphia::tools {

/// A sound file that goes into a run, which is followed by silence.
class InputSound {
public:
    /// Opens the file. Throws FileError.
    InputSound(std::filesystem::path path, host::AudioFileSource::Playback playback);

    std::uint32_t FileRate() const { return file->SampleRate(); }
    bool IsLooped() const { return isLooped; }

    /// From now on it is read at this rate; once, before the first Read.
    void ConvertTo(std::uint32_t sampleRate);

    /// Reads the next frames, and returns how many of them are the file's; the rest is silence. Throws
    /// FileError.
    std::size_t Read(std::size_t frames);
    /// As if the file ended behind so many of the frames that were read last.
    void EndAfter(std::size_t frames);
    /// What was read last, interleaved stereo.
    std::span<const float> Samples() const { return samples; }

    bool HasEnded() const { return hasEnded; }
    double ExpectedSeconds() const;

    /// Warns of samples that were no numbers.
    void WarnOfReplaced() const;

private:
    std::filesystem::path path;
    bool isLooped;
    std::unique_ptr<host::AudioSource> source;
    /// In the source, or the source itself.
    const host::AudioFileSource* file;
    std::vector<float> samples;
    bool hasEnded = false;
};

} // namespace orphia::tools
