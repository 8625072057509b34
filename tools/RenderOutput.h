// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/AudioFileWriter.h"
#include "host/LoudnessMeter.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orphia::tools {

/// The file that a run renders into, a tenth of a second at a time, with what is told of it at the end.
class RenderOutput {
public:
    /// Throws FileError and UsageError as host::AudioFileWriter.
    RenderOutput(std::filesystem::path path, std::uint32_t sampleRate,
                 std::optional<host::SampleFormat> format);

    /// The most frames at a time: whole engine blocks, so that only the very last one is padded.
    std::size_t ChunkFrames() const { return samples.size() / 2; }

    /// Renders and writes so many frames, at most a chunk. Throws Stopped when a signal came. The samples
    /// returned are valid until the next call.
    std::span<const float> Render(std::size_t frames, const std::function<void(std::span<float>)>& render);

    double Seconds() const { return static_cast<double>(framesDone) / sampleRate; }

    /// Closes the file, which now has its name.
    void Finish();

    /// Warns of clipped samples, and prints length, peak, loudness and speed.
    void PrintSummary() const;

private:
    std::filesystem::path path;
    std::uint32_t sampleRate;
    host::AudioFileWriter writer;
    host::LoudnessMeter loudness;
    std::vector<float> samples;
    std::uint64_t framesDone = 0;
    double renderSeconds = 0.0;
};

/// Below -90 dBFS, which 16 bits hardly hold.
bool IsSilent(std::span<const float> samples);

/// A magnitude in dB, "-inf" for 0.
std::string Decibels(double magnitude);

} // namespace orphia::tools
