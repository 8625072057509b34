// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/audio/AudioFileWriter.h"
#include "host/audio/LoudnessMeter.h"

#include <algorithm>
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
    /// For an engine whose blocks are so long, and whose sound is as late as `latencyFrames` tells after the
    /// first chunk, when its effects have started; the file does not show it. Throws FileError and UsageError
    /// as host::AudioFileWriter.
    RenderOutput(std::filesystem::path path, std::uint32_t sampleRate, std::uint32_t framesPerBlock,
                 std::function<std::uint32_t()> latencyFrames, std::optional<host::SampleFormat> format);

    std::uint32_t SampleRate() const { return sampleRate; }
    /// Frames that are rendered at a time: whole engine blocks.
    std::size_t ChunkFrames() const { return chunk.size() / 2; }

    using Renderer = std::function<std::size_t(std::span<float>)>;
    /// Lets a chunk of interleaved stereo be rendered, and returns what `render` returns for it. It
    /// renders one chunk ahead.
    std::size_t Render(const Renderer& render);
    /// Remembers what the limiter took away, in dB, for the summary.
    void NoteReduction(float decibels) { reduction = std::max(reduction, decibels); }

    /// Writes the first frames of the chunk.
    void Write(std::size_t frames);
    /// Writes the first `kept` of them, and of those up to `frames` what sounds: silence behind it is held
    /// back, and written when something sounds again. At the end of the file it is left out.
    void WriteWhatSounds(std::size_t kept, std::size_t frames);
    double HeldSeconds() const { return static_cast<double>(held.size()) / 2.0 / sampleRate; }

    /// What is written so far.
    std::uint64_t FramesDone() const { return framesDone; }
    double Seconds() const { return static_cast<double>(framesDone) / sampleRate; }

    /// Closes the file, which now has its name.
    void Finish();

    /// Warns of clipped samples, and prints length, peak, loudness, the limiter's work and speed.
    void PrintSummary() const;

private:
    std::size_t RenderTimed(const Renderer& render, std::span<float> target);
    void Append(std::span<const float> samples);

    std::filesystem::path path;
    std::uint32_t sampleRate;
    host::AudioFileWriter writer;
    host::LoudnessMeter loudness;
    std::vector<float> chunk;
    /// The chunk that is rendered ahead, from which the latency has to be made up; empty before the first.
    std::vector<float> ahead;
    std::size_t aheadPassage = 0;
    std::function<std::uint32_t()> latencyFrames;
    std::size_t latencySamples = 0;
    float reduction = 0.0F;
    /// Silence that may be the end.
    std::vector<float> held;
    std::uint64_t framesDone = 0;
    double renderSeconds = 0.0;
};

/// A magnitude in dB, "-inf" for 0.
std::string Decibels(double magnitude);

} // namespace orphia::tools
