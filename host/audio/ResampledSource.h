// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/audio/AudioSource.h"

#include <memory>
#include <vector>

namespace orphia::host {

/// Another source at another sample rate, by band-limited interpolation (better than 120 dB). Time 0 stays
/// time 0, and the length is the other's times the ratio of the rates, to the nearest frame.
class ResampledSource final : public AudioSource {
public:
    /// Throws FileError when the rates are more than 256 times apart.
    ResampledSource(std::unique_ptr<AudioSource> source, std::uint32_t sampleRate);
    ~ResampledSource() override;

    std::uint32_t SampleRate() const override { return sampleRate; }
    std::uint64_t ExpectedFrames() const override;
    std::size_t Read(std::span<float> samples) override;

private:
    struct Converter;

    void Refill();
    std::size_t Convert(std::span<float> samples);
    std::size_t FitLength(std::span<float> samples, std::size_t frames) const;
    std::uint64_t Scaled(std::uint64_t frames) const;

    std::unique_ptr<AudioSource> source;
    std::uint32_t sampleRate;
    double ratio;
    std::unique_ptr<Converter> converter;
    std::vector<float> inputSamples;
    /// What of the input samples is not yet converted, in frames.
    std::size_t inputStart = 0;
    std::size_t inputEnd = 0;
    bool sourceEnded = false;
    std::uint64_t framesIn = 0;
    std::uint64_t framesOut = 0;
};

/// The source itself when it has that rate, else a ResampledSource of it.
std::unique_ptr<AudioSource> AtRate(std::unique_ptr<AudioSource> source, std::uint32_t sampleRate);

} // namespace orphia::host
