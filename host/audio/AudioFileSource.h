// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/audio/AudioSource.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace orphia::host {

/// A sound file, in any format that libsndfile reads. A mono file sounds on both sides; more than two
/// channels are refused, as it is not known which of them matter. A pipe is read to its end first; a signal
/// whose handler interrupts system calls ends the wait.
class AudioFileSource final : public AudioSource {
public:
    enum class Playback {
        Once,
        /// Begins anew without a gap, for ever.
        Loop
    };

    static constexpr int minimumSampleRate = 2000;
    static constexpr int maximumSampleRate = 768000;

    /// Throws FileError: no such file, a directory or device, no audio, no frames, too many channels, an odd
    /// rate.
    explicit AudioFileSource(std::filesystem::path path, Playback playback = Playback::Once);
    ~AudioFileSource() override;

    std::uint32_t SampleRate() const override;
    std::uint64_t ExpectedFrames() const override;
    std::size_t Read(std::span<float> samples) override;

    /// Samples so far that were not a number or infinite; they are read as silence.
    std::uint64_t ReplacedSamples() const { return replacedSamples; }

private:
    struct File;

    std::size_t ReadOnce(std::span<float> samples);
    void Rewind();

    std::filesystem::path path;
    Playback playback;
    std::unique_ptr<File> file;
    std::vector<float> monoSamples;
    std::uint64_t replacedSamples = 0;
};

} // namespace orphia::host
