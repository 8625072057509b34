// SPDX-License-Identifier: GPL-3.0-or-later
#include "RenderOutput.h"

#include "Stopped.h"
#include "Terminal.h"
#include "host/EngineSession.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <utility>

namespace orphia::tools {

namespace {

constexpr std::size_t outputChannels = 2;
constexpr double chunkSeconds = 0.1;

std::size_t FramesOfChunk(std::uint32_t sampleRate) {
    const std::size_t block = host::EngineSession::BlockSize(static_cast<float>(sampleRate));
    const auto blocks =
        static_cast<std::size_t>(std::lround(chunkSeconds * sampleRate / static_cast<double>(block)));
    return block * std::max<std::size_t>(blocks, 1);
}

} // namespace

bool IsSilent(std::span<const float> samples) {
    constexpr float threshold = 3.1622776e-5F;
    return std::all_of(samples.begin(), samples.end(),
                       [](float sample) { return std::abs(sample) < threshold; });
}

std::string Decibels(double magnitude) {
    return magnitude > 0.0 ? fmt::format("{:.1f}", 20.0 * std::log10(magnitude)) : "-inf";
}

RenderOutput::RenderOutput(std::filesystem::path outputPath, std::uint32_t rate,
                           std::optional<host::SampleFormat> format)
    : path(std::move(outputPath)), sampleRate(rate), writer(path, rate, format), loudness(rate),
      samples(FramesOfChunk(rate) * outputChannels) {}

std::span<const float> RenderOutput::Render(std::size_t frames,
                                            const std::function<void(std::span<float>)>& render) {
    using Clock = std::chrono::steady_clock;
    const std::span<float> output(samples.data(), std::min(frames, ChunkFrames()) * outputChannels);
    const Clock::time_point start = Clock::now();
    render(output);
    renderSeconds += std::chrono::duration<double>(Clock::now() - start).count();
    loudness.Add(output);
    writer.Write(output);
    framesDone += output.size() / outputChannels;
    if (StopSignal() != 0) {
        throw Stopped();
    }
    return output;
}

void RenderOutput::Finish() { writer.Finish(); }

void RenderOutput::PrintSummary() const {
    if (writer.ClippedSamples() > 0) {
        Warn(fmt::format("{} samples beyond full scale were clipped; lower a level, or use --bits float",
                         writer.ClippedSamples()));
    }
    const std::optional<double> integrated = loudness.IntegratedLoudness();
    fmt::print("output    {}\n", path.string());
    fmt::print("duration  {:.3f} s\n", Seconds());
    fmt::print("peak      {} dBFS\n", Decibels(loudness.SamplePeak()));
    fmt::print("loudness  {}\n",
               integrated ? fmt::format("{:.1f} LUFS", *integrated) : "none (silent, or shorter than 0.4 s)");
    fmt::print("speed     {:.0f} x real time\n", renderSeconds > 0.0 ? Seconds() / renderSeconds : 0.0);
}

} // namespace orphia::tools
