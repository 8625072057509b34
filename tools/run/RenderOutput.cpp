// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/run/RenderOutput.h"

#include "host/common/Paths.h"
#include "tools/terminal/Terminal.h"

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
/// In dB: less is not worth a line.
constexpr float leastReduction = 0.05F;

std::size_t FramesOfChunk(std::uint32_t sampleRate, std::uint32_t block) {
    const auto blocks = static_cast<std::size_t>(std::lround(chunkSeconds * sampleRate / block));
    return block * std::max<std::size_t>(blocks, 1);
}

/// -90 dBFS, which 16 bits hardly hold.
bool Sounds(float sample) { return std::abs(sample) > 3.1622776e-5F; }

} // namespace

std::string Decibels(double magnitude) {
    return magnitude > 0.0 ? fmt::format("{:.1f}", 20.0 * std::log10(magnitude)) : "-inf";
}

RenderOutput::RenderOutput(std::filesystem::path outputPath, std::uint32_t rate, std::uint32_t framesPerBlock,
                           std::function<std::uint32_t()> howLate, std::optional<host::SampleFormat> format)
    : path(std::move(outputPath)), sampleRate(rate), writer(path, rate, format), loudness(rate),
      chunk(FramesOfChunk(rate, framesPerBlock) * outputChannels), latencyFrames(std::move(howLate)) {}

std::size_t RenderOutput::Render(const Renderer& render) {
    if (ahead.empty()) {
        ahead.resize(chunk.size());
        aheadPassage = RenderTimed(render, ahead);
        latencySamples = std::min(latencyFrames() * outputChannels, chunk.size());
    }
    const auto late = static_cast<std::ptrdiff_t>(latencySamples);
    const auto rest = std::copy(ahead.begin() + late, ahead.end(), chunk.begin());
    const std::size_t passage = std::exchange(aheadPassage, RenderTimed(render, ahead));
    std::copy(ahead.begin(), ahead.begin() + late, rest);
    return passage;
}

std::size_t RenderOutput::RenderTimed(const Renderer& render, std::span<float> target) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    const std::size_t result = render(target);
    renderSeconds += std::chrono::duration<double>(Clock::now() - start).count();
    return result;
}

void RenderOutput::Write(std::size_t frames) { Append(std::span(chunk).first(frames * outputChannels)); }

void RenderOutput::WriteWhatSounds(std::size_t kept, std::size_t frames) {
    const std::span<const float> samples = std::span(chunk).first(frames * outputChannels);
    const auto lastSound = std::find_if(samples.rbegin(), samples.rend(), Sounds).base() - samples.begin();
    // To the end of its frame.
    const std::size_t sounding = (static_cast<std::size_t>(lastSound) + 1) / outputChannels;
    const std::size_t written = std::max(kept, sounding) * outputChannels;
    if (written > 0) {
        Append(held);
        held.clear();
        Append(samples.first(written));
    }
    const auto rest = samples.subspan(written);
    held.insert(held.end(), rest.begin(), rest.end());
}

void RenderOutput::Append(std::span<const float> samples) {
    loudness.Add(samples);
    writer.Write(samples);
    framesDone += samples.size() / outputChannels;
}

void RenderOutput::Finish() { writer.Finish(); }

void RenderOutput::PrintSummary() const {
    if (writer.ClippedSamples() > 0) {
        Warn(fmt::format("{} samples beyond full scale were clipped; lower a level, or use --bits float",
                         writer.ClippedSamples()));
    }
    const std::optional<double> integrated = loudness.IntegratedLoudness();
    fmt::print("output    {}\n", host::TextOf(path));
    fmt::print("duration  {:.3f} s\n", Seconds());
    fmt::print("peak      {} dBFS\n", Decibels(loudness.SamplePeak()));
    fmt::print("loudness  {}\n",
               integrated ? fmt::format("{:.1f} LUFS", *integrated) : "none (silent, or shorter than 0.4 s)");
    if (reduction > leastReduction) {
        fmt::print("limiter   -{:.1f} dB at most\n", reduction);
    }
    fmt::print("speed     {:.0f} x real time\n", renderSeconds > 0.0 ? Seconds() / renderSeconds : 0.0);
}

} // namespace orphia::tools
