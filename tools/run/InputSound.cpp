// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/run/InputSound.h"

#include "host/audio/ResampledSource.h"
#include "host/common/Paths.h"
#include "tools/terminal/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace orphia::tools {

using host::AudioFileSource;
using host::AudioSource;

InputSound::InputSound(std::filesystem::path soundPath, AudioFileSource::Playback playback)
    : path(std::move(soundPath)), isLooped(playback == AudioFileSource::Playback::Loop) {
    auto opened = std::make_unique<AudioFileSource>(path, playback);
    file = opened.get();
    source = std::move(opened);
}

void InputSound::ConvertTo(std::uint32_t sampleRate) { source = host::AtRate(std::move(source), sampleRate); }

std::size_t InputSound::Read(std::size_t frames) {
    samples.resize(frames * AudioSource::channelCount);
    const std::size_t read = hasEnded ? 0 : source->Read(samples);
    if (read < frames) {
        EndAfter(read);
    }
    return read;
}

void InputSound::EndAfter(std::size_t frames) {
    const auto end = samples.begin() + static_cast<std::ptrdiff_t>(frames * AudioSource::channelCount);
    std::fill(end, samples.end(), 0.0F);
    hasEnded = true;
}

double InputSound::ExpectedSeconds() const {
    return static_cast<double>(source->ExpectedFrames()) / source->SampleRate();
}

void InputSound::WarnOfReplaced() const {
    if (file->ReplacedSamples() > 0) {
        Warn(fmt::format("{}: {} samples were not finite numbers and read as silence", host::TextOf(path),
                         file->ReplacedSamples()));
    }
}

} // namespace orphia::tools
