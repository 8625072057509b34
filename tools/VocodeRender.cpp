// SPDX-License-Identifier: GPL-3.0-or-later
#include "VocodeRender.h"

#include "RunDisplay.h"
#include "Stopped.h"
#include "Terminal.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace orphia::tools {

namespace {

constexpr std::size_t channelCount = host::AudioSource::channelCount;
constexpr double chunkSeconds = 0.1;

/// Whole engine blocks, so that only the very last one is padded.
std::size_t ChunkFrames(std::uint32_t sampleRate) {
    const std::size_t block = host::VocoderSession::BlockSize(static_cast<float>(sampleRate));
    const auto blocks =
        static_cast<std::size_t>(std::lround(chunkSeconds * sampleRate / static_cast<double>(block)));
    return block * std::max<std::size_t>(blocks, 1);
}

/// Reads what there is; the rest is silence.
std::size_t ReadPadded(host::AudioSource& source, std::vector<float>& samples) {
    const std::size_t frames = source.Read(samples);
    std::fill(samples.begin() + static_cast<std::ptrdiff_t>(frames * channelCount), samples.end(), 0.0F);
    return frames;
}

} // namespace

VocodeRender::VocodeRender(host::AudioSource& modulatorSource, host::AudioSource& carrierSource,
                           host::VocoderSession& vocoder, host::AudioFileWriter& target)
    : modulator(modulatorSource), carrier(carrierSource), session(vocoder), writer(target),
      loudness(vocoder.SampleRate()), chunkFrames(ChunkFrames(vocoder.SampleRate())),
      modulatorSamples(chunkFrames * channelCount), carrierSamples(chunkFrames * channelCount),
      outputSamples(chunkFrames * channelCount) {}

double VocodeRender::SecondsOf(std::uint64_t frames) const {
    return static_cast<double>(frames) / session.SampleRate();
}

VocodeSummary VocodeRender::Run(double tailSeconds, RunDisplay& display) {
    tailFrames = static_cast<std::uint64_t>(std::llround(tailSeconds * session.SampleRate()));
    const double expected = SecondsOf(modulator.ExpectedFrames() + tailFrames);
    std::uint64_t done = 0;
    while (const std::size_t frames = ReadChunk()) {
        RenderChunk(frames);
        done += frames;
        display.Show(SecondsOf(done), expected, session.TakeMeters());
        if (StopSignal() != 0) {
            throw Stopped();
        }
    }
    VocodeSummary summary;
    summary.seconds = SecondsOf(done);
    summary.peak = loudness.SamplePeak();
    summary.loudness = loudness.IntegratedLoudness();
    summary.speed = coreSeconds > 0.0 ? summary.seconds / coreSeconds : 0.0;
    return summary;
}

/// The frames to render; fewer than a chunk, or none, at the end.
std::size_t VocodeRender::ReadChunk() {
    std::size_t frames = ReadPadded(modulator, modulatorSamples);
    const std::size_t extra =
        static_cast<std::size_t>(std::min<std::uint64_t>(chunkFrames - frames, tailFrames));
    tailFrames -= extra;
    frames += extra;
    ReadPadded(carrier, carrierSamples);
    return frames;
}

void VocodeRender::RenderChunk(std::size_t frames) {
    using Clock = std::chrono::steady_clock;
    const std::span<float> output(outputSamples.data(), frames * channelCount);
    const Clock::time_point start = Clock::now();
    session.Process(modulatorSamples, carrierSamples, output);
    coreSeconds += std::chrono::duration<double>(Clock::now() - start).count();
    loudness.Add(output);
    writer.Write(output);
}

} // namespace orphia::tools
