// SPDX-License-Identifier: GPL-3.0-or-later
#include "VocodeRender.h"

#include "RenderOutput.h"
#include "RunDisplay.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace orphia::tools {

namespace {

constexpr std::size_t channelCount = host::AudioSource::channelCount;

/// Reads what there is; the rest is silence.
std::size_t ReadPadded(host::AudioSource& source, std::vector<float>& samples) {
    const std::size_t frames = source.Read(samples);
    std::fill(samples.begin() + static_cast<std::ptrdiff_t>(frames * channelCount), samples.end(), 0.0F);
    return frames;
}

} // namespace

VocodeRender::VocodeRender(host::AudioSource& modulatorSource, host::AudioSource& carrierSource,
                           host::VocoderSession& vocoder, RenderOutput& target)
    : modulator(modulatorSource), carrier(carrierSource), session(vocoder), output(target),
      modulatorSamples(target.ChunkFrames() * channelCount),
      carrierSamples(target.ChunkFrames() * channelCount) {}

void VocodeRender::Run(double tailSeconds, RunDisplay& display) {
    const double rate = session.SampleRate();
    tailFrames = static_cast<std::uint64_t>(std::llround(tailSeconds * rate));
    const double expected = static_cast<double>(modulator.ExpectedFrames() + tailFrames) / rate;
    while (const std::size_t frames = ReadChunk()) {
        output.Render(frames, [this](std::span<float> samples) {
            session.Process(modulatorSamples, carrierSamples, samples);
        });
        display.Show(output.Seconds(), expected, session.TakeMeters());
    }
}

/// The frames to render; fewer than a chunk, or none, at the end.
std::size_t VocodeRender::ReadChunk() {
    std::size_t frames = ReadPadded(modulator, modulatorSamples);
    const std::size_t extra =
        static_cast<std::size_t>(std::min<std::uint64_t>(output.ChunkFrames() - frames, tailFrames));
    tailFrames -= extra;
    frames += extra;
    ReadPadded(carrier, carrierSamples);
    return frames;
}

} // namespace orphia::tools
